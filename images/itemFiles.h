#pragma once

#include "images/ProtectedItem.h"

#include "display/Display.h"
#include "files/wipe.h"

#include <QList>

#include <initializer_list>

/// What backup and secret items share in reading their files. Messages name the item and the resolved path.

/// Looks at an item's algorithm and nonce path. `noncePath` receives the nonce file to read, empty for none: AES-ECB
/// leaves one out with a warning. AES-CBC and AES-CTR without one is a message of kind `missingKind` and false. `path`
/// is the item's path as given.
[[nodiscard]] bool chooseNonce(const ProtectedItem& item, const QString& path, MessageKind missingKind,
                               QString& noncePath);

/// `path` as it counts from `folder` if it begins with ".", else as it stands.
[[nodiscard]] QString resolvedPath(const QString& folder, const QString& path);

/// Whether an output leaves the files at `paths` alone, which `item` names; an empty path names none. False with a
/// message otherwise.
[[nodiscard]] bool sparesFiles(const QString& outputPath, const ProtectedItem& item,
                               std::initializer_list<QString> paths);

/// Reads a nonce file of 16 bytes.
[[nodiscard]] bool readNonce(const ProtectedItem& item, const QString& path, QByteArray& nonce);

/// Reads the file at `path`, holds its size against the item's protection and puts `nonce` in front. `data` should be
/// wiped by the caller.
[[nodiscard]] bool readItemData(const ProtectedItem& item, const QString& path, const QByteArray& nonce,
                                QByteArray& data);

/// Wipes the bytes of every segment when it goes, on every way out of a scope.
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
