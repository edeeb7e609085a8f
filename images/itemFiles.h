#pragma once

#include "images/ProtectedItem.h"

#include "display/Display.h"
#include "files/wipe.h"

#include <QList>

#include <initializer_list>

/// The common part of reading the files of backup and secret items. Messages name the item and the resolved path.

/// Chooses the nonce file of an item by its algorithm. `noncePath` receives the path of this file; it becomes empty if
/// the item has no nonce file. With AES-ECB, a nonce is ignored with a warning. With AES-CBC and AES-CTR, a missing
/// nonce is reported as a message of kind `missingKind`, and the result is false. `path` is the item's path as in the
/// document.
[[nodiscard]] bool chooseNonce(const ProtectedItem& item, const QString& path, MessageKind missingKind,
                               QString& noncePath);

/// `path` relative to `folder` if it begins with "."; otherwise `path` unchanged.
[[nodiscard]] QString resolvedPath(const QString& folder, const QString& path);

/// Checks that an output overwrites none of the files at `paths`, which `item` names. Empty paths are skipped. False,
/// with a message, if it overwrites one.
[[nodiscard]] bool sparesFiles(const QString& outputPath, const ProtectedItem& item,
                               std::initializer_list<QString> paths);

/// Reads a nonce file of 16 bytes.
[[nodiscard]] bool readNonce(const ProtectedItem& item, const QString& path, QByteArray& nonce);

/// Checks that the item's protection allows `size` bytes of data, not counting the nonce. False, with a message that
/// contains `path`, if it doesn't.
[[nodiscard]] bool checkItemSize(const ProtectedItem& item, const QString& path, qint64 size);

/// Reads the file at `path`, checks its size against the item's protection and puts `nonce` before it. The caller wipes
/// `data`.
[[nodiscard]] bool readItemData(const ProtectedItem& item, const QString& path, const QByteArray& nonce,
                                QByteArray& data);

/// Wipes the bytes of every segment at the end of a scope.
template <typename Segment, QByteArray Segment::*bytes>
class WipeSegmentsOnExit {
  public:
    explicit WipeSegmentsOnExit(QList<Segment>& segments) : segments_(segments) {}
    ~WipeSegmentsOnExit() {
        for (Segment& segment : segments_) {
            wipe(segment.*bytes);
        }
    }
    WipeSegmentsOnExit(const WipeSegmentsOnExit&) = delete;
    WipeSegmentsOnExit& operator=(const WipeSegmentsOnExit&) = delete;

  private:
    QList<Segment>& segments_;
};
