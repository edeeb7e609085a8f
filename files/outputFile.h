#pragma once

#include "files/unfinishedFiles.h"

#include <QByteArrayView>
#include <QFile>
#include <QString>

#include <sys/stat.h>

#include <functional>
#include <initializer_list>
#include <span>

/// Who may do what with a file once it is complete. Until then it is nobody else's to read.
enum class FileAccess {
    asUsual,    ///< an older file keeps its permissions, a new one has what the process gives its files
    ownerOnly,  ///< likewise, but a new one is for its owner alone

    // Of key files, which are forced to the disk. Older ones get these permissions too, and may be read-only.
    ownerReads,           ///< 0400
    ownerReadsAndWrites,  ///< 0600
    everybodyReads,       ///< 0444
};

enum class ReplaceResult { done, cannotOpen, cannotWrite };

/// Puts `bytes` in the place of whatever stands at `path`, or leaves that as it was. Links are followed; a pipe or
/// device takes the bytes as they come. Where the folder takes no new file, or none in the place of this one, an older
/// file is written over in place.
[[nodiscard]] ReplaceResult replaceFile(const QString& path, QByteArrayView bytes,
                                        FileAccess access = FileAccess::asUsual);

/// The same for a content that is written piece by piece: `writeContent` hands each to `write`, and gives false as soon
/// as that does.
using PieceWriter = std::function<bool(QByteArrayView piece)>;
using ContentWriter = std::function<bool(const PieceWriter& write)>;
[[nodiscard]] ReplaceResult replaceFileBy(const QString& path, const ContentWriter& writeContent,
                                          FileAccess access = FileAccess::asUsual);

/// The same for two files or more that belong together: they take their places when all of them are written, and a
/// failure leaves all of them as they were.
struct NewContent {
    const QString& path;
    QByteArrayView bytes;
};
[[nodiscard]] ReplaceResult replaceFiles(std::initializer_list<NewContent> contents);

/// A content on its way to its place. Without a commit it goes away, and what stood at its place stays.
class PendingFile {
  public:
    /// Writes the content. A pipe or device has it at once.
    [[nodiscard]] ReplaceResult write(const QString& path, const ContentWriter& writeContent,
                                      FileAccess access = FileAccess::asUsual);
    /// Whether the content waits for its commit: it doesn't if a pipe or device has it.
    [[nodiscard]] bool isHeld() const { return content_.isOpen(); }
    /// Opens `device`, whatever its name, for reading on the content that was written and is held.
    [[nodiscard]] bool openContent(QFile& device) const;

    [[nodiscard]] ReplaceResult commit();
    /// Commits all files, which were written, or none. `at` receives the index of the file that failed.
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
    FileHandle over_;        ///< the older file, if it is to be written over in place
    Place place_ = Place::notTaken;
};

/// Whether what was written to `path` can be read from there: a pipe or device doesn't give it back.
[[nodiscard]] bool canReadBack(const QString& path);

/// What is said of a file that couldn't be replaced. A "%s" stands for the file's name.
struct ReplaceErrors {
    const char* cannotOpen;
    const char* cannotWrite;
};

/// Whether `result` is "done"; if not, the error of `errors` for it is reported, with the file's name as it is `shown`.
[[nodiscard]] bool reportReplacement(ReplaceResult result, const QString& shown, const ReplaceErrors& errors);

/// Warns if something stands at `path` that an output will replace.
void warnOfOverwriting(const QString& path);
void warnOfOverwriting(const QString& path, const QString& shown);

/// An output of a command, and the message for one that couldn't be written whole.
struct OutputFile {
    const QString& path;
    QByteArrayView bytes;
    const char* writeError;
};

/// Writes what a command puts out: a warning for a file that exists, "Failed to create output file %s" for one that
/// can't be made, and its `writeError` if not every byte could be written. Files that belong together take their places
/// when all of them are written: a failure leaves older ones as they were, and no new one.
[[nodiscard]] bool writeOutputFiles(std::initializer_list<OutputFile> outputs);
[[nodiscard]] bool writeOutputFile(const QString& path, QByteArrayView bytes, const char* writeError);

/// The two halves of writeOutputFile, for a content that is looked at before it takes its place.
[[nodiscard]] bool writePendingOutput(const OutputFile& output, PendingFile& file);
[[nodiscard]] bool commitPendingOutput(const OutputFile& output, PendingFile& file);

/// Whether both paths lead to one file (by its device and inode), or would if it were there.
[[nodiscard]] bool isSameFile(const QString& path, const QString& other);
