#include "platform/image_io/tiff/job_pool.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace kelvo::tiff {

JobPool::JobPool(unsigned threads) : threads_(std::max(1U, threads)) {}

JobPool::~JobPool() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  waiting_.notify_all();
  for (std::thread& helper : helpers_) helper.join();
}

void JobPool::start(Work& work) {
  if (threads_ == 1) {
    work.state = State::waiting;
    return;
  }
  {
    const std::scoped_lock lock(mutex_);
    work.state = State::waiting;
    queue_.push_back(&work);
    if (helpers_.size() + 1 < threads_ && !noMoreHelpers_) startHelper();
  }
  waiting_.notify_one();
}

// One for each job until there are enough. Without any, the work is done all the same.
void JobPool::startHelper() {
  try {
    helpers_.emplace_back([this] { serve(); });
  } catch (const std::system_error&) {
    noMoreHelpers_ = true;
  }
}

// Called and left with the lock held.
void JobPool::run(Work& work, std::unique_lock<std::mutex>& lock) {
  work.state = State::running;
  lock.unlock();
  std::exception_ptr failure;
  try {
    work.function();
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  work.failure = std::move(failure);
  work.state = State::done;
  done_.notify_all();
}

void JobPool::finish(Work& work) {
  std::unique_lock lock(mutex_);
  while (work.state == State::waiting || work.state == State::running) {
    if (work.state == State::waiting) {
      std::erase(queue_, &work);
      run(work, lock);
    } else if (!queue_.empty()) {
      Work* const next = queue_.front();
      queue_.pop_front();
      run(*next, lock);
    } else {
      done_.wait(lock);
    }
  }
  work.state = State::none;
  if (work.failure) std::rethrow_exception(std::exchange(work.failure, nullptr));
}

void JobPool::cancel(Work& work) {
  std::unique_lock lock(mutex_);
  if (work.state == State::waiting) std::erase(queue_, &work);
  done_.wait(lock, [&work] { return work.state != State::running; });
}

void JobPool::serve() {
  std::unique_lock lock(mutex_);
  while (true) {
    waiting_.wait(lock, [this] { return ending_ || !queue_.empty(); });
    if (queue_.empty()) return;
    Work* const next = queue_.front();
    queue_.pop_front();
    run(*next, lock);
  }
}

}  // namespace kelvo::tiff
