#pragma once

#include "foundation/thread.h"

#include <memory>

namespace orbi {

/// Something for a worker to do. The worker calls execute at most once and finish exactly once, as
/// the last thing, so that is where a job frees itself.
class FJob {
public:
  virtual void execute(void* argument) = 0; ///< worker's thread
  virtual void finish() = 0;                ///< worker's thread, or the one that calls stop
  virtual void
  cancel() = 0; ///< on the thread that calls stop; also during execute, to cut it short

protected:
  ~FJob() = default;
};

/// One thread that runs jobs in the order in which they were added. It starts with the first one.
/// Jobs are added by any thread; pausing, resuming and stopping is for one.
class FWorker : public FThreadBase {
public:
  static constexpr uint32_t stopMilliseconds = 1000;

  void pause(); ///< takes effect when the present job, or else the next one, is done
  void resume();

  /// Cancels what runs and what waits, waits for the thread and deletes the worker. A job that
  /// takes longer than stopMilliseconds is left behind with its thread: it runs to its end and is
  /// finished there, after the worker is gone, so it has to own what it uses.
  void stop();

protected:
  enum class Wake {
    always,  ///< with each job
    whenIdle ///< only if the thread may sleep and isn't paused
  };

  FWorker(const char* threadName, int priority, Wake wake);
  ~FWorker() override;

  void add(FJob* job, void* argument, int64_t tag);
  int64_t currentTag() const;
  virtual void onStopped() {} ///< by stop, before it waits for the thread

private:
  struct Shared;

  // What the thread uses belongs to both, so a thread that is left behind finds it in place.
  const std::shared_ptr<Shared> shared_;
  const char* const threadName_;
  const int startPriority_;
};

/// The worker for general use.
class FWorkerThread : public FWorker {
public:
  explicit FWorkerThread(int priority = normalPriority);

  void addJob(FJob* job, void* argument) { add(job, argument, 0); }

  static FWorkerThread* defaultWorker(); ///< the first that was made, null when it is gone

protected:
  ~FWorkerThread() override;
};

/// The worker for what can wait: runs at the lowest priority, and its jobs carry a tag of the
/// caller's.
class ForArbeiter : public FWorker {
public:
  ForArbeiter();

  void addJob(FJob* job, void* argument, int64_t tag) { add(job, argument, tag); }
  int64_t currentTag() const { return FWorker::currentTag(); } ///< 0 when nothing runs

protected:
  ~ForArbeiter() override = default;
};

} // namespace orbi
