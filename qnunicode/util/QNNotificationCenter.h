#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNInfoValue.h"

// A named event with the object that posts it and a map of details.
struct QNNotification {
  UnicodeString name;
  // The poster, for comparison only: a notification handed to another thread may arrive after
  // its poster is gone.
  const void* object = nullptr;
  QNInfoValue::Map userInfo;
};

// Delivers posted notifications to the observers that asked for them, on the thread that posts
// (the library posts on the host's main thread, through its dispatcher). Observers may be added
// and removed from any thread, also from within an observer.
class QNNotificationCenter {
 public:
  using Observer = std::function<void(const QNNotification&)>;
  using Token = uint64_t;

  // The process-wide centre the library posts to.
  static QNNotificationCenter& defaultCenter();

  // Observes the notifications of that name (none: of every name) posted by that object (null:
  // by any object); answers the token that removes the observer.
  Token addObserver(std::optional<UnicodeString> name, const void* object, Observer observer);
  void removeObserver(Token token);
  // Calls each matching observer in the order they were added. Observers added or removed while
  // it runs take effect from the next notification.
  void postNotification(const QNNotification& notification);

 private:
  struct Registration {
    Token token;
    std::optional<UnicodeString> name;
    const void* object;
    Observer observer;
  };
  std::mutex _mutex;
  std::vector<Registration> _registrations;
  Token _nextToken = 1;
};

// Removes its observer when it goes.
class QNNotificationObservation {
 public:
  QNNotificationObservation(QNNotificationCenter& center, std::optional<UnicodeString> name,
                            const void* object, QNNotificationCenter::Observer observer)
      : _center(center), _token(center.addObserver(std::move(name), object, std::move(observer))) {}
  ~QNNotificationObservation() { _center.removeObserver(_token); }
  QNNotificationObservation(const QNNotificationObservation&) = delete;
  QNNotificationObservation& operator=(const QNNotificationObservation&) = delete;

 private:
  QNNotificationCenter& _center;
  QNNotificationCenter::Token _token;
};
