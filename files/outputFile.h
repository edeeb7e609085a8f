#pragma once

#include "files/unfinishedFiles.h"

#include <QByteArrayView>
#include <QFile>
#include <QString>

#include <sys/stat.h>

#include <functional>
#include <initializer_list>
#include <span>

/// The permissions of a file once it is complete. Until then only its owner can read it.
enum class FileAccess {
    asUsual,    ///< an older file keeps its permissions, a new one gets those that the umask allows
    ownerOnly,  ///< an older file keeps its permissions, a new one has mode 0600

    // The last three are for key files, which are flushed to the disk. The file gets these permissions even if it
    // replaces an older one. The older file may be read-only.
    ownerReads,           ///< 0400
    ownerReadsAndWrites,  ///< 0600
    everybodyReads,       ///< 0444
};

enum class ReplaceResult { done, cannotOpen, cannotWrite };

/// Replaces the file at `path` with `bytes`, or leaves it as it was. Links are followed. A pipe or device receives the
/// bytes directly. If the folder accepts no new file, or doesn't let a new file replace the older one, the older file
/// is overwritten in place.
[[nodiscard]] ReplaceResult replaceFile(const QString& path, QByteArrayView bytes,
                                        FileAccess access = FileAccess::asUsual);

/// The same for content that is written piece by piece: `writeContent` passes each piece to `write`, and returns false
/// as soon as `write` does.
using PieceWriter = std::function<bool(QByteArrayView piece)>;
using ContentWriter = std::function<bool(const PieceWriter& write)>;
[[nodiscard]] ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent,
                                          FileAccess access = FileAccess::asUsual);

/// The same for two files or more that belong together: they replace the older files after all of them are written. A
/// failure leaves all older files as they were, if the file system can swap two files.
struct NewContent {
    const QString& path;
    QByteArrayView bytes;
};
[[nodiscard]] ReplaceResult replaceFiles(std::initializer_list<NewContent> contents);

/// The content of a file that isn't at its path yet. Without a commit, the destructor removes the content, and an older
/// file stays.
class PendingFile {
  public:
    /// Writes the content. A pipe or device receives it at once.
    [[nodiscard]] ReplaceResult write(const QString& path, const ContentWriter& writeContent,
                                      FileAccess access = FileAccess::asUsual);
    /// Whether the content waits for its commit. False for a pipe or device, which has already received the content.
    [[nodiscard]] bool isHeld() const { return content_.isOpen(); }
    /// Opens `device` for reading the held content. The name of `device` has no effect.
    [[nodiscard]] bool openContent(QFile& device) const;

    [[nodiscard]] ReplaceResult commit();
    /// Commits all files or none. Call it after the content of each file is written. `at` receives the index of the
    /// file that failed.
    [[nodiscard]] static ReplaceResult commitAll(std::span<PendingFile> files, std::size_t& at);

  private:
    struct AccessRow {
        mode_t newMode;
        bool isKey;
    };
    enum class Place { notTaken, taken, swapped };

    [[nodiscard]] static AccessRow rowOf(FileAccess access);
    [[nodiscard]] bool makeContent();
    [[nodiscard]] bool rename(bool revocably);
    [[nodiscard]] ReplaceResult takePlace(bool revocably);
    [[nodiscard]] ReplaceResult openOld();
    [[nodiscard]] ReplaceResult writeOver();
    void revoke();
    [[nodiscard]] mode_t mode() const { return isOld_ && !access_.isKey ? old_.st_mode & 07777 : access_.newMode; }
    [[nodiscard]] bool flush(const FileHandle& file) const;

    QByteArray target_;
    struct stat old_ {};
    bool isOld_ = false;
    AccessRow access_{};
    FileHandle content_;     ///< closed for a pipe or device
    UnfinishedFile hidden_;  ///< the content's file; without a name if the content is in memory
    FileHandle over_;        ///< the older file, if it is to be overwritten in place
    Place place_ = Place::notTaken;
};

/// Whether the bytes that were written to `path` can be read from there; false for a pipe or device.
[[nodiscard]] bool canReadBack(const QString& path);

/// The errors for a file that couldn't be replaced. The file's name replaces "%s".
struct ReplaceErrors {
    const char* cannotOpen;
    const char* cannotWrite;
};

/// Whether `result` is `done`. If not, reports the matching one of `errors`, with `shown` as the file's name.
[[nodiscard]] bool reportReplacement(ReplaceResult result, const QString& shown, const ReplaceErrors& errors);

/// Warns if an output will replace a file at `path`. The warning contains `path`, or `shown`, as the file's name.
void warnOfOverwriting(const QString& path);
void warnOfOverwriting(const QString& path, const QString& shown);

/// An output of a command, and the error for an output that couldn't be written completely.
struct OutputFile {
    const QString& path;
    QByteArrayView bytes;
    const char* writeError;
};

/// Writes the outputs of a command. Warns of a file that exists, and reports "Failed to create output file %s" for a
/// file that can't be created, or its `writeError` if not every byte could be written. Files that belong together
/// replace older ones when all of them are written: a failure leaves the older files as replaceFiles does, and no new
/// file.
[[nodiscard]] bool writeOutputFiles(std::initializer_list<OutputFile> outputs);
[[nodiscard]] bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError);

/// The two halves of writeOutputFile, for content that is checked before it replaces an older file.
[[nodiscard]] bool writePendingOutput(const OutputFile& output, PendingFile& file);
[[nodiscard]] bool commitPendingOutput(const OutputFile& output, PendingFile& file);

/// Whether both paths lead to the same file, compared by device and inode. If neither path leads to a file yet, whether
/// they would lead to the same one.
[[nodiscard]] bool isSameFile(const QString& path, const QString& other);
