#include "foundation/startup_records.h"

#include <algorithm>
#include <utility>

namespace orbi {

namespace {

bool initialised = false;

} // namespace

template <class Self>
void FStartupRecord<Self>::enter(Self* record)
{
  if (!list_)
    list_ = new List;
  list_->push_back(record);
}

template <class Self>
typename FStartupRecord<Self>::List FStartupRecord<Self>::takeList()
{
  List* list = std::exchange(list_, nullptr);
  List records = list ? std::move(*list) : List{};
  delete list;
  return records;
}

template <class Self>
bool FStartupRecord<Self>::runAll()
{
  List records = takeList();
  return std::all_of(records.begin(), records.end(),
                     [](Self* record) { return record->function_(); });
}

template class FStartupRecord<FPreInitializer>;
template class FStartupRecord<FInitializer>;
template class FStartupRecord<FPostInitializer>;
template class FStartupRecord<FTerminator>;

FPreInitializer::FPreInitializer(StartupFunction function, const char* name, int32_t priority)
    : FStartupRecord(function, name), priority_(priority)
{
  enter(this);
  std::stable_sort(
      list_->begin(), list_->end(),
      [](const FPreInitializer* a, const FPreInitializer* b) { return a->compare(b) < 0; });
}

int FPreInitializer::compare(const CmObject* other) const
{
  auto* record = castTo<FPreInitializer>(other);
  if (!record)
    return CmObject::compare(other);
  return (priority_ > record->priority_) - (priority_ < record->priority_);
}

FInitializer::FInitializer(StartupFunction function, const char* name, const char* predecessor)
    : FStartupRecord(function, name), predecessor_(predecessor)
{
  enter(this);
}

bool FInitializer::runAll()
{
  List records = takeList();
  List waiting;
  List done;
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

void dropStartupRecords()
{
  FPreInitializer::dropAll();
  FInitializer::dropAll();
  FPostInitializer::dropAll();
  FTerminator::dropAll();
}

} // namespace orbi
