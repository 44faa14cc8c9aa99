#include "qnunicode/util/QNMainThread.h"

#include <utility>

namespace {

// Never destroyed: a reader thread may still hand work over while the process exits.
std::mutex& dispatcherMutex() {
  static std::mutex* const mutex = new std::mutex;
  return *mutex;
}

std::shared_ptr<QNMainThreadDispatcher>& dispatcherSlot() {
  static auto* const dispatcher = new std::shared_ptr<QNMainThreadDispatcher>;
  return *dispatcher;
}

}  // namespace

std::shared_ptr<QNMainThreadDispatcher> QNSetMainThreadDispatcher(
    std::shared_ptr<QNMainThreadDispatcher> dispatcher) {
  std::lock_guard<std::mutex> lock(dispatcherMutex());
  return std::exchange(dispatcherSlot(), std::move(dispatcher));
}

std::shared_ptr<QNMainThreadDispatcher> QNMainThreadDispatcherInstance() {
  std::lock_guard<std::mutex> lock(dispatcherMutex());
  return dispatcherSlot();
}

void QNPerformOnMainThread(std::function<void()> task, bool waitUntilDone) {
  const std::shared_ptr<QNMainThreadDispatcher> dispatcher = QNMainThreadDispatcherInstance();
  if (!dispatcher) {
    task();
  } else if (waitUntilDone) {
    dispatcher->dispatchSync(std::move(task));
  } else {
    dispatcher->dispatchAsync(std::move(task));
  }
}

QNMainThreadQueue::QNMainThreadQueue() : _mainThread(std::this_thread::get_id()) {}

void QNMainThreadQueue::dispatchAsync(std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _tasks.push_back(std::move(task));
  }
  _queued.notify_all();
}

void QNMainThreadQueue::dispatchSync(std::function<void()> task) {
  if (isMainThread()) {
    // At once, ahead of the tasks queued already, as a main thread's run loop does.
    task();
    return;
  }
  // The waiting state lives on this thread's stack: the main thread signals through it while
  // this thread cannot leave.
  std::mutex doneMutex;
  std::condition_variable doneSignal;
  bool done = false;
  dispatchAsync([&] {
    task();
    std::lock_guard<std::mutex> lock(doneMutex);
    done = true;
    doneSignal.notify_all();
  });
  std::unique_lock<std::mutex> lock(doneMutex);
  doneSignal.wait(lock, [&] { return done; });
}

std::function<void()> QNMainThreadQueue::take(std::chrono::steady_clock::time_point deadline) {
  std::unique_lock<std::mutex> lock(_mutex);
  if (_tasks.empty() && deadline > std::chrono::steady_clock::now()) {
    _queued.wait_until(lock, deadline, [this] { return !_tasks.empty(); });
  }
  if (_tasks.empty()) return {};
  std::function<void()> task = std::move(_tasks.front());
  _tasks.pop_front();
  return task;
}

size_t QNMainThreadQueue::runPending() {
  size_t count = 0;
  // A deadline already past: only what is queued already is taken.
  while (std::function<void()> task = take(std::chrono::steady_clock::time_point())) {
    task();
    ++count;
  }
  return count;
}

bool QNMainThreadQueue::runUntil(const std::function<bool()>& done,
                                 std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!done()) {
    std::function<void()> task = take(deadline);
    if (!task) return done();
    task();
  }
  return true;
}
