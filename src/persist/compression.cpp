#include "persist/compression.h"

#include "foundation/class_registry.h"
#include "foundation/component_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(FCompressionEngine);
CM_REGISTER_ABSTRACT(FCompressionStream);

namespace {

/// Takes the first bytes of what is written and is full then.
class LimitedTarget final : public FStream {
public:
  LimitedTarget(FStream& target, int64_t bytes) : target_(target), left_(bytes) {}

  using FStream::read;
  using FStream::write;
  int64_t read(void*, int64_t) override { return 0; }
  int64_t write(const void* bytes, int64_t count) override
  {
    const int64_t put = target_.write(bytes, std::min(count, left_));
    left_ -= std::max<int64_t>(put, 0);
    return put;
  }
  int64_t seek(int64_t, SeekMode) override { return target_.tell(); }
  int64_t tell() override { return target_.tell(); }
  void rewind() override {}

private:
  FStream& target_;
  int64_t left_;
};

} // namespace

Ref<FCompressionEngine> FCompressionEngine::registered()
{
  for (int32_t i = 0; const FComponent* component = FComponentRegistry::at(category, i); ++i) {
    FUnknown* made = component->create();
    auto engine = Ref<FCompressionEngine>::share(castTo<FCompressionEngine>(objectBehind(made)));
    if (made)
      made->release();
    if (engine)
      return engine;
  }
  return nullptr;
}

FCompressionStream::FCompressionStream(Ref<FStream> packed, Ref<FCompressionEngine> engine,
                                       int64_t plainBytes)
    : packed_(std::move(packed)), engine_(std::move(engine)), plainBytes_(plainBytes)
{
}

void FCompressionStream::unpack()
{
  if (unpacked_)
    return;
  unpacked_ = true;
  LimitedTarget target(plain_, plainBytes_);
  packed_->rewind();
  damaged_ = !engine_->decompress(*packed_, target) || plain_.size() != plainBytes_;
  plain_.rewind();
}

int64_t FCompressionStream::read(void* buffer, int64_t count)
{
  unpack();
  return plain_.read(buffer, count);
}

int64_t FCompressionStream::seek(int64_t offset, SeekMode mode)
{
  unpack();
  const int64_t origin = mode == SeekMode::start     ? 0
                         : mode == SeekMode::current ? plain_.tell()
                                                     : plain_.size();
  int64_t target = 0;
  if (__builtin_add_overflow(origin, offset, &target))
    target = offset < 0 ? 0 : INT64_MAX;
  return plain_.seek(std::clamp<int64_t>(target, 0, plain_.size()), SeekMode::start);
}

} // namespace orbi
