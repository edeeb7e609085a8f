#pragma once

#include "tests/support/TempFolder.h"

/// Writes "doc.json", a document of items, and returns its path. Each item is item.json with edits in the form that
/// cases.txt describes.
QString writeDocument(const TempFolder& folder, const QByteArray& items);

/// `count` bytes that count up from `first`.
QByteArray countingBytes(int first, int count);
