#pragma once

#include "tests/support/TempFolder.h"

/// Writes a document, as "doc.json", of items that are edits of item.json in the form that cases.txt tells, and gives
/// its path.
QString writeDocument(const TempFolder& folder, const QByteArray& items);

/// `count` bytes that count up from `first`.
QByteArray countingBytes(int first, int count);
