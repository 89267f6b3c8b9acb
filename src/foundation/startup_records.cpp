#include "foundation/startup_records.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace orbi {

namespace {

template <class Record>
using List = std::vector<Record*>;

// Statics of many files add themselves in an unknown order, so each list is made on its first add.
template <class Record>
List<Record>*& listOf()
{
  static constinit List<Record>* list = nullptr;
  return list;
}

template <class Record>
List<Record>& listForAdding()
{
  List<Record>*& list = listOf<Record>();
  if (!list)
    list = new List<Record>;
  return *list;
}

/// The list, which is gone from then on.
template <class Record>
List<Record> takeList()
{
  List<Record>* list = std::exchange(listOf<Record>(), nullptr);
  List<Record> records = list ? std::move(*list) : List<Record>{};
  delete list;
  return records;
}

bool initialised = false;

} // namespace

FPreInitializer::FPreInitializer(StartupFunction function, const char* name, int32_t priority)
    : function_(function), name_(name), priority_(priority)
{
  auto& list = listForAdding<FPreInitializer>();
  auto later = std::upper_bound(
      list.begin(), list.end(), this,
      [](const FPreInitializer* a, const FPreInitializer* b) { return a->compare(b) < 0; });
  list.insert(later, this);
}

bool FPreInitializer::runAll()
{
  List<FPreInitializer> records = takeList<FPreInitializer>();
  return std::all_of(records.begin(), records.end(),
                     [](FPreInitializer* record) { return record->function_(); });
}

void FPreInitializer::dropAll()
{
  takeList<FPreInitializer>();
}

int FPreInitializer::compare(const CmObject* other) const
{
  auto* record = castTo<FPreInitializer>(other);
  if (!record)
    return CmObject::compare(other);
  return (priority_ > record->priority_) - (priority_ < record->priority_);
}

FInitializer::FInitializer(StartupFunction function, const char* name, const char* predecessor)
    : function_(function), name_(name), predecessor_(predecessor)
{
  listForAdding<FInitializer>().push_back(this);
}

bool FInitializer::runAll()
{
  List<FInitializer> records = takeList<FInitializer>();
  List<FInitializer> waiting;
  List<FInitializer> done;
  bool forced = false;
  initialised = true;

  auto mayRun = [&](const FInitializer* record) {
    return !record->predecessor_ || forced ||
           std::any_of(done.begin(), done.end(),
                       [record](const FInitializer* other) { return other->compare(record) == 0; });
  };
  for (;;) {
    for (FInitializer* record : records) {
      if (!mayRun(record)) {
        waiting.push_back(record);
        continue;
      }
      if (!record->function_())
        return false;
      done.push_back(record);
    }
    if (waiting.empty())
      return true;
    if (waiting.size() == records.size())
      forced = true; // a circle, or predecessors that don't exist
    else
      records = waiting;
    waiting.clear();
  }
}

void FInitializer::dropAll()
{
  takeList<FInitializer>();
}

bool FInitializer::hasRun()
{
  return initialised;
}

int FInitializer::compare(const CmObject* other) const
{
  auto* record = castTo<FInitializer>(other);
  if (!record)
    return CmObject::compare(other);
  int order = std::strcmp(name_, record->predecessor_ ? record->predecessor_ : record->name_);
  return (order > 0) - (order < 0);
}

FPostInitializer::FPostInitializer(StartupFunction function, const char* name)
    : function_(function), name_(name)
{
  listForAdding<FPostInitializer>().push_back(this);
}

bool FPostInitializer::runAll()
{
  List<FPostInitializer> records = takeList<FPostInitializer>();
  return std::all_of(records.begin(), records.end(),
                     [](FPostInitializer* record) { return record->function_(); });
}

void FPostInitializer::dropAll()
{
  takeList<FPostInitializer>();
}

FTerminator::FTerminator(StartupFunction function, const char* name)
    : function_(function), name_(name)
{
  listForAdding<FTerminator>().push_back(this);
}

bool FTerminator::runAll()
{
  List<FTerminator> records = takeList<FTerminator>();
  return std::all_of(records.begin(), records.end(),
                     [](FTerminator* record) { return record->function_(); });
}

void FTerminator::dropAll()
{
  takeList<FTerminator>();
}

void dropStartupRecords()
{
  FPreInitializer::dropAll();
  FInitializer::dropAll();
  FPostInitializer::dropAll();
  FTerminator::dropAll();
}

} // namespace orbi
