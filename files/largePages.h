#pragma once

#include <QByteArray>

// In a run of a few milliseconds, the first access to each page of memory is among the most expensive operations.

/// Makes the heap reserve room for several large arrays and keep freed memory, and asks the system for large pages in
/// this room. Call it once, before the run allocates anything large. Does nothing if the memory of the process is
/// limited.
void prepareHeap();

/// Asks the system to back a large array with large pages. Does nothing for a small array or on a system without large
/// pages.
void preferLargePages(QByteArray& bytes);
