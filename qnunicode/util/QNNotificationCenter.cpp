#include "qnunicode/util/QNNotificationCenter.h"

#include <algorithm>
#include <utility>

// Never destroyed: a reader thread may still post while the process exits.
QNNotificationCenter& QNNotificationCenter::defaultCenter() {
  static QNNotificationCenter* const center = new QNNotificationCenter;
  return *center;
}

QNNotificationCenter::Token QNNotificationCenter::addObserver(std::optional<UnicodeString> name,
                                                              const void* object,
                                                              Observer observer) {
  std::lock_guard<std::mutex> lock(_mutex);
  const Token token = _nextToken++;
  _registrations.push_back({token, std::move(name), object, std::move(observer)});
  return token;
}

void QNNotificationCenter::removeObserver(Token token) {
  std::lock_guard<std::mutex> lock(_mutex);
  std::erase_if(_registrations,
                [token](const Registration& registration) { return registration.token == token; });
}

void QNNotificationCenter::postNotification(const QNNotification& notification) {
  // The observers are called outside the lock, so that they may post, add or remove in turn.
  std::vector<Observer> observers;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    for (const Registration& registration : _registrations) {
      if (registration.name && *registration.name != notification.name) continue;
      if (registration.object && registration.object != notification.object) continue;
      observers.push_back(registration.observer);
    }
  }
  for (const Observer& observer : observers) observer(notification);
}
