#include "foundation/worker_thread.h"

#include "foundation/lock.h"
#include "foundation/signal.h"

#include <atomic>
#include <deque>

namespace orbi {

namespace {

struct JobRecord {
  FJob* job;
  void* argument;
  int64_t tag;
};

std::atomic<FWorkerThread*> defaultWorkerNow{nullptr};

} // namespace

// What worker and thread share

struct FWorker::Shared {
  explicit Shared(Wake wakeRule) : rule(wakeRule) {}

  const Wake rule;
  FSignal wake{"wake"};
  FSignal gate{"gate"}; // for the paused state
  std::atomic<bool> stopping{false};
  std::atomic<bool> paused{false};

  FLock currentLock{"currentLock"}; // before jobsLock
  JobRecord current{};              // under currentLock; no job between two

  FLock jobsLock{"jobsLock"};
  std::deque<JobRecord> jobs; // under jobsLock, like the rest
  bool notStarted = true;
  bool busy = false; // the thread looks at the list again before it sleeps

  // On the thread
  void runJobs();
  bool takeJob(JobRecord& record);
  void finishCurrent();

  // On the others
  bool append(const JobRecord& record); // true when the thread has to be started
  void cancelCurrent();
  void cancelWaiting();
};

void FWorker::Shared::runJobs()
{
  JobRecord record{};
  while (!stopping) {
    if (takeJob(record)) {
      record.job->execute(record.argument);
      finishCurrent();
      if (paused && !stopping)
        gate.wait();
    } else if (!stopping) {
      wake.wait();
    }
  }
  cancelWaiting(); // what the last job added
}

bool FWorker::Shared::takeJob(JobRecord& record)
{
  FGuard currentGuard(currentLock); // so that stop sees the job either waiting or current
  FGuard jobsGuard(jobsLock);
  busy = !jobs.empty() && !stopping;
  if (!busy)
    return false;
  record = jobs.front();
  jobs.pop_front();
  current = record;
  return true;
}

void FWorker::Shared::finishCurrent()
{
  FGuard guard(currentLock);
  current.job->finish();
  current = {};
}

bool FWorker::Shared::append(const JobRecord& record)
{
  FGuard guard(jobsLock);
  jobs.push_back(record);
  const bool first = notStarted;
  notStarted = false;
  if (rule == Wake::always || (!paused && !busy))
    wake.set();
  return first;
}

void FWorker::Shared::cancelCurrent()
{
  FGuard guard(currentLock);
  stopping = true;
  paused = false;
  if (current.job)
    current.job->cancel();
}

void FWorker::Shared::cancelWaiting()
{
  std::deque<JobRecord> waiting;
  {
    FGuard guard(jobsLock);
    waiting.swap(jobs);
  }
  for (const JobRecord& record : waiting) {
    record.job->cancel();
    record.job->finish();
  }
}

// The worker

FWorker::FWorker(const char* threadName, int priority, Wake wake)
    : shared_(std::make_shared<Shared>(wake)), threadName_(threadName), startPriority_(priority)
{
}

FWorker::~FWorker() = default;

void FWorker::add(FJob* job, void* argument, int64_t tag)
{
  FGuard guard(shared_->jobsLock); // recursive: whoever starts the thread does so before all others
  if (!shared_->append({job, argument, tag}))
    return;
  setPriority(startPriority_);
  launch(threadName_, [shared = shared_] {
    shared->runJobs();
    return 0u;
  });
}

int64_t FWorker::currentTag() const
{
  FGuard guard(shared_->currentLock);
  return shared_->current.tag;
}

void FWorker::pause()
{
  if (shared_->paused)
    return;
  shared_->gate.reset();
  shared_->paused = true;
}

void FWorker::resume()
{
  if (!shared_->paused)
    return;
  shared_->paused = false;
  shared_->gate.set();
  shared_->wake.set(); // for jobs that came while pausing didn't let them wake the thread
}

void FWorker::stop()
{
  shared_->cancelCurrent();
  shared_->cancelWaiting();
  shared_->gate.set();
  shared_->wake.set();
  onStopped();
  if (!join(stopMilliseconds))
    kill();
  destroy();
}

// The two kinds

FWorkerThread::FWorkerThread(int priority) : FWorker("Worker Thread", priority, Wake::always)
{
  FWorkerThread* none = nullptr;
  defaultWorkerNow.compare_exchange_strong(none, this);
}

FWorkerThread::~FWorkerThread()
{
  FWorkerThread* own = this;
  defaultWorkerNow.compare_exchange_strong(own, nullptr);
}

FWorkerThread* FWorkerThread::defaultWorker()
{
  return defaultWorkerNow.load();
}

ForArbeiter::ForArbeiter() : FWorker("ForArbeiter", lowestPriority, Wake::whenIdle) {}

} // namespace orbi
