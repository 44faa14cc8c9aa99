#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

// Work that the library hands to the host's main thread (the Unihan reader's flag change and
// notifications) goes through one dispatcher that the host sets. Without one, the work runs at
// once on the thread that hands it over, so its order is kept either way.
class QNMainThreadDispatcher {
 public:
  virtual ~QNMainThreadDispatcher() = default;
  // Queues the task for the main thread and returns at once. Tasks run in the order given.
  virtual void dispatchAsync(std::function<void()> task) = 0;
  // Runs the task on the main thread and returns once it has run. Called from another thread,
  // the task runs after every task queued before it; called on the main thread itself, it runs
  // at once, ahead of them.
  virtual void dispatchSync(std::function<void()> task) = 0;
};

// Installs the host's dispatcher (null: none) and answers the previous one.
std::shared_ptr<QNMainThreadDispatcher> QNSetMainThreadDispatcher(
    std::shared_ptr<QNMainThreadDispatcher> dispatcher);
// The installed dispatcher, or null.
std::shared_ptr<QNMainThreadDispatcher> QNMainThreadDispatcherInstance();
// Hands the task to the installed dispatcher, waiting for it to run when waitUntilDone; without
// a dispatcher, runs it at once on the calling thread.
void QNPerformOnMainThread(std::function<void()> task, bool waitUntilDone);

// A dispatcher for hosts without an event loop of their own: the thread that makes it is the
// main thread, and handed-over tasks wait in a queue until that thread runs them. A task handed
// over with dispatchSync from another thread keeps that thread waiting until it has run, so the
// main thread must keep running the queue while such work can arrive.
class QNMainThreadQueue : public QNMainThreadDispatcher {
 public:
  QNMainThreadQueue();
  QNMainThreadQueue(const QNMainThreadQueue&) = delete;
  QNMainThreadQueue& operator=(const QNMainThreadQueue&) = delete;

  void dispatchAsync(std::function<void()> task) override;
  void dispatchSync(std::function<void()> task) override;

  bool isMainThread() const { return std::this_thread::get_id() == _mainThread; }
  // On the main thread: runs every task queued so far, and the tasks those queue, in order;
  // answers how many ran.
  size_t runPending();
  // On the main thread: runs queued tasks until `done` answers true (checked before and after
  // each task) or the timeout passes; answers `done`'s last answer.
  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

 private:
  // The next task, waiting for one until the deadline; an empty function when none came.
  std::function<void()> take(std::chrono::steady_clock::time_point deadline);

  const std::thread::id _mainThread;
  std::mutex _mutex;
  std::condition_variable _queued;
  std::deque<std::function<void()>> _tasks;
};
