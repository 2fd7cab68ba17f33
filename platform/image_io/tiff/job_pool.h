#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvo::tiff {

// Threads that share work. A pool for one thread starts none: a job is then done by whoever waits
// for it. A pool must outlive its jobs, and its last owner must not be a job.
class JobPool {
 public:
  // How many threads may be busy, that of the caller included.
  explicit JobPool(unsigned threads);
  ~JobPool();
  JobPool(const JobPool&) = delete;
  JobPool& operator=(const JobPool&) = delete;

  [[nodiscard]] unsigned threads() const { return threads_; }

 private:
  friend class Job;
  enum class State : unsigned char { none, waiting, running, done };
  struct Work {
    std::function<void()> function;
    State state = State::none;
    std::exception_ptr failure;
  };

  void start(Work& work);
  void finish(Work& work);
  void cancel(Work& work);
  void startHelper();
  void run(Work& work, std::unique_lock<std::mutex>& lock);
  void serve();

  const unsigned threads_;
  std::mutex mutex_;
  std::condition_variable waiting_;  // there is a job to do, or none will follow
  std::condition_variable done_;
  std::deque<Work*> queue_;
  bool ending_ = false;
  bool noMoreHelpers_ = false;
  std::vector<std::thread> helpers_;
};

// One piece of work at a time. What it uses must live as long as it does: its end waits for the
// work, or takes it back if nobody has begun. Jobs must not wait for one another.
class Job {
 public:
  explicit Job(JobPool& pool) : pool_(pool) {}
  ~Job() { pool_.cancel(work_); }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  void start(std::function<void()> function) {
    work_.function = std::move(function);
    pool_.start(work_);
  }
  // Returns when the work is done, with the exception that it ended with; the caller lends a hand
  // meanwhile.
  void wait() { pool_.finish(work_); }

 private:
  JobPool& pool_;
  JobPool::Work work_;
};

}  // namespace kelvo::tiff
