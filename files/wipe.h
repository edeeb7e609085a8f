#pragma once

#include <QByteArray>

/// Overwrites a secret and empties it. The array has to be the only owner of its bytes, which a debug build asserts:
/// bytes that somebody else holds as well would stay.
void wipe(QByteArray& secret);

/// Lets go of a secret, and wipes it if no other owner holds its bytes: that one wipes them.
void wipeIfOwned(QByteArray& secret);

/// Wipes what it refers to when it goes, on every way out of a scope.
class WipeOnExit {
  public:
    explicit WipeOnExit(QByteArray& secret) : secret_(secret) {}
    ~WipeOnExit() { wipe(secret_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

  private:
    QByteArray& secret_;
};
