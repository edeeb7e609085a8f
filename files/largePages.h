#pragma once

#include <QByteArray>

// The first touch of a page of memory is among the dearest things in a run that lasts for milliseconds.

/// Called once, before a run allocates anything large: the heap holds room for several large arrays, advised to be
/// backed with large pages, and keeps what is freed. Does nothing where the memory of the process is limited.
void prepareHeap();

/// Asks the system to back a large array with large pages. Small arrays, and systems without, are left alone.
void preferLargePages(QByteArray& bytes);
