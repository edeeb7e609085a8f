#pragma once

#include <QByteArray>

/// Overwrites a secret and empties it. The array must be the only owner of its bytes: shared bytes aren't overwritten.
/// A debug build asserts this.
void wipe(QByteArray& secret);

/// Empties the array, and wipes its bytes if no other array shares them. Otherwise the other array has to wipe them.
void wipeIfOwned(QByteArray& secret);

/// Wipes a secret at the end of a scope, on every way out.
class WipeOnExit {
  public:
    explicit WipeOnExit(QByteArray& secret) : secret_(secret) {}
    ~WipeOnExit() { wipe(secret_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

  private:
    QByteArray& secret_;
};
