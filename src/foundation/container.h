#pragma once

#include "foundation/object.h"

#include <memory>

namespace orbi {

/// What a container does with references. The numbers are stored under the key "ownership".
enum class CmOwnership : uint16_t {
  none = 0,   ///< nothing is added or dropped
  adopts = 1, ///< takes over the caller's reference, releases on removal
  shares = 2  ///< adds a reference on insertion, releases on removal
};

/// Walks a container. Made by newIterator, ended by destroy(1) or Iterator below.
class CmIterator {
public:
  virtual void destroy(uint32_t flags);
  virtual bool atEnd() const = 0;
  virtual CmObject* next() = 0; ///< the item, and moves on; null at the end

protected:
  virtual ~CmIterator() = default;
};

/// Holds CmObjects. No container locks by itself.
class CmContainer : public CmClass<CmContainer, CmObject> {
public:
  static constexpr const char* className = "CmContainer";

  virtual uint32_t size() const { return count_; }
  virtual uint32_t count() const { return count_; }
  virtual bool isEmpty() const { return count_ == 0; }
  virtual bool add(CmObject* item) = 0; ///< at the natural end; false when it found no room
  virtual bool insertAt(int32_t index,
                        CmObject* item) = 0; ///< containers with an order add instead
  virtual bool remove(CmObject* item) = 0;   ///< the first that is this object
  virtual bool removeAt(int32_t index) = 0;
  virtual void removeAll() = 0;
  virtual CmObject* at(int32_t index) const = 0;         ///< null outside
  virtual CmObject* find(const CmObject* key) const = 0; ///< the first that isEqual to key
  virtual int32_t indexOf(const CmObject* item) const;   ///< by identity, -1 for none
  virtual bool contains(const CmObject* item) const { return indexOf(item) >= 0; }
  virtual CmObject* first() const { return at(0); }
  virtual CmObject* last() const { return at(static_cast<int32_t>(count_) - 1); }
  virtual CmIterator* newIterator() const = 0; ///< to be destroyed with flag 1

  CmOwnership ownership() const { return ownership_; }
  void setOwnership(CmOwnership ownership) { ownership_ = ownership; } ///< for later changes only

  bool storeAttributes(FAttributes& attributes) const override; ///< "ownership"
  bool loadAttributes(const FAttributes& attributes) override;

protected:
  CmContainer() = default;
  CmContainer(const CmContainer& other) : CmClass(other), ownership_(other.ownership_) {}
  CmContainer& operator=(const CmContainer&) = delete;

  void taken(CmObject* item) ///< the ownership rule on insertion
  {
    if (item && ownership_ == CmOwnership::shares)
      item->retain();
  }
  void dropped(CmObject* item) ///< the ownership rule on removal
  {
    if (item && ownership_ != CmOwnership::none)
      item->releaseRef();
  }
  /// What a copied container holds: the same items, or references of its own.
  CmObject* copied(CmObject* item) const
  {
    if (item && ownership_ != CmOwnership::none)
      item->retain();
    return item;
  }

  uint32_t count_ = 0;
  CmOwnership ownership_ = CmOwnership::none;
};

/// Stack guard around newIterator.
class CmIteration {
public:
  explicit CmIteration(const CmContainer& container) : iterator_(container.newIterator()) {}
  bool atEnd() const { return iterator_->atEnd(); }
  CmObject* next() { return iterator_->next(); }

private:
  struct Destroy {
    void operator()(CmIterator* iterator) const { iterator->destroy(1); }
  };
  std::unique_ptr<CmIterator, Destroy> iterator_;
};

} // namespace orbi
