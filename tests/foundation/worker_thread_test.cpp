#include "foundation/lock.h"
#include "foundation/signal.h"
#include "foundation/worker_thread.h"
#include "shared/crowd.h"

#include <atomic>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace orbi;
using testing::ElementsAre;

namespace {

/// What the jobs of a test did, in order. Outlives them, also on a thread that was left behind.
class Journal {
public:
  void note(const std::string& what)
  {
    FGuard guard(lock_);
    lines_.push_back(what);
    noted_.release();
  }
  std::vector<std::string> lines()
  {
    FGuard guard(lock_);
    return lines_;
  }
  void waitForLines(int count)
  {
    while (count-- > 0)
      noted_.wait();
  }

private:
  FLock lock_;
  FSemaphore noted_;
  std::vector<std::string> lines_;
};

class NotingJob final : public FJob {
public:
  NotingJob(std::shared_ptr<Journal> journal, std::string name, std::function<void()> work = {})
      : journal_(std::move(journal)), name_(std::move(name)), work_(std::move(work))
  {
  }
  void execute(void* argument) override
  {
    journal_->note(name_ + (argument ? " executes with its argument" : " executes"));
    if (work_)
      work_();
  }
  void finish() override
  {
    auto journal = journal_;
    const std::string line = name_ + " finishes";
    delete this;
    journal->note(line);
  }
  void cancel() override { journal_->note(name_ + " is cancelled"); }

private:
  std::shared_ptr<Journal> journal_;
  std::string name_;
  std::function<void()> work_;
};

class Worker : public testing::Test {
protected:
  FJob* job(const std::string& name, std::function<void()> work = {})
  {
    return new NotingJob(journal, name, std::move(work));
  }

  std::shared_ptr<Journal> journal = std::make_shared<Journal>();
};

} // namespace

TEST_F(Worker, jobs_run_in_order_each_finished_once_and_the_thread_starts_with_the_first)
{
  auto* worker = new FWorkerThread;
  EXPECT_FALSE(worker->isStarted());
  int argument = 0;
  worker->addJob(job("a"), &argument);
  worker->addJob(job("b"), nullptr);
  EXPECT_TRUE(worker->isStarted());
  EXPECT_STREQ(worker->getName(), "Worker Thread");
  journal->waitForLines(4);
  worker->addJob(job("c"), nullptr);
  journal->waitForLines(2);
  worker->stop();
  EXPECT_THAT(journal->lines(),
              ElementsAre("a executes with its argument", "a finishes", "b executes", "b finishes",
                          "c executes", "c finishes"));
}

TEST_F(Worker, stop_cancels_what_runs_and_what_waits_and_finishes_all)
{
  auto go = std::make_shared<FSignal>();
  auto* worker = new FWorkerThread;
  worker->addJob(job("a", [=] { go->wait(); }), nullptr);
  worker->addJob(job("b"), nullptr);
  journal->waitForLines(1);
  auto watcher = platform::ThreadHandle::start("watcher", [&] {
    journal->waitForLines(3); // both cancelled, b finished
    go->set();
  });
  worker->stop();
  EXPECT_TRUE(watcher.join());
  EXPECT_THAT(journal->lines(), ElementsAre("a executes", "a is cancelled", "b is cancelled",
                                            "b finishes", "a finishes"));
}

TEST_F(Worker, job_that_outlives_the_stop_is_finished_by_its_own_thread)
{
  auto go = std::make_shared<FSignal>();
  auto* worker = new FWorkerThread;
  worker->addJob(job("a", [=] { go->wait(); }), nullptr);
  journal->waitForLines(1);
  worker->stop();
  EXPECT_THAT(journal->lines(), ElementsAre("a executes", "a is cancelled"));
  EXPECT_EQ(FWorkerThread::defaultWorker(), nullptr);
  go->set();
  journal->waitForLines(2);
  EXPECT_EQ(journal->lines().back(), "a finishes");
}

TEST_F(Worker, stop_ends_a_paused_worker_and_one_that_never_had_a_job)
{
  (new FWorkerThread)->stop();
  auto* worker = new ForArbeiter;
  worker->addJob(job("a", [=] { worker->pause(); }), nullptr, 0);
  journal->waitForLines(2);
  worker->addJob(job("b"), nullptr, 0);
  worker->stop();
  EXPECT_THAT(journal->lines(),
              ElementsAre("a executes", "a finishes", "b is cancelled", "b finishes"));
}

TEST_F(Worker, jobs_added_while_paused_run_after_resume)
{
  auto* worker = new ForArbeiter;
  for (int round = 0; round < 200; ++round) {
    worker->pause();
    worker->addJob(job("a"), nullptr, 0);
    worker->addJob(job("b"), nullptr, 0);
    worker->resume();
    journal->waitForLines(4);
  }
  worker->stop();
  EXPECT_EQ(journal->lines().size(), 800u);
}

TEST_F(Worker, no_job_of_many_adders_is_lost)
{
  auto* worker = new ForArbeiter;
  constexpr int each = 300;
  Crowd adders(3, [&] {
    for (int n = 0; n < each; ++n)
      worker->addJob(job("a"), nullptr, n);
  });
  journal->waitForLines(3 * each * 2);
  adders.join();
  worker->stop();
}

TEST_F(Worker, running_job_shows_its_tag)
{
  auto* worker = new ForArbeiter;
  std::atomic<int64_t> seen{0};
  worker->addJob(job("a", [&] { seen = worker->currentTag(); }), nullptr, 42);
  journal->waitForLines(2);
  worker->stop();
  EXPECT_EQ(seen, 42);
}

TEST_F(Worker, first_worker_is_the_default_one_until_it_ends)
{
  auto* first = new FWorkerThread;
  auto* second = new FWorkerThread;
  EXPECT_EQ(FWorkerThread::defaultWorker(), first);
  second->stop();
  EXPECT_EQ(FWorkerThread::defaultWorker(), first);
  first->stop();
  EXPECT_EQ(FWorkerThread::defaultWorker(), nullptr);
}
