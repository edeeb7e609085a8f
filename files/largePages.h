#pragma once

#include <QByteArray>

/// Asks the system to back a large array with large pages. The first touch of its memory is the dearest thing in a run
/// that lasts for milliseconds, and costs a fraction then. Small arrays, and systems without, are left alone.
void preferLargePages(QByteArray& bytes);
