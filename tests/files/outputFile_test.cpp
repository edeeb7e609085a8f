#include "files/outputFile.h"
#include "files/wipe.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/ownProcess.h"

#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

namespace {

// These functions replace those of the system, so that the tests can see their arguments and make them fail.
bool closeFails = false;
bool flushFails = false;
QByteArrayView lastWiped;

}  // namespace

extern "C" int close(int descriptor) {
    const auto result = static_cast<int>(syscall(SYS_close, descriptor));
    if (closeFails) {
        errno = EIO;
    }
    return closeFails ? -1 : result;
}

extern "C" int fdatasync(int /*descriptor*/) {
    errno = EIO;
    return flushFails ? -1 : 0;
}

extern "C" void explicit_bzero(void* start, std::size_t size) noexcept {
    lastWiped = {static_cast<char*>(start), static_cast<qsizetype>(size)};
    std::memset(start, 0, size);
}

TEST(OutputFile, ReplacesAllOrNothing) {
    const TempFolder folder;
    const MessageCapture capture;
    const QString path = folder.path("out");
    EXPECT_TRUE(writeOutputFile(path, QByteArray("first"), "not written"));
    QFile plain(folder.path("plain"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    EXPECT_EQ(QFile::permissions(path), plain.permissions());
    ASSERT_TRUE(plain.remove() && QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    EXPECT_TRUE(writeOutputFile(path, QByteArray("old\0", 4), "not written"));
    EXPECT_FALSE(writeOutputFile(folder.path("none/out"), QByteArray("x"), "not written"));
    EXPECT_FALSE(writeOutputFile(QStringLiteral("/dev/full"), QByteArray("x"), "100% not written"));
    EXPECT_TRUE(QFile::exists(QStringLiteral("/dev/full")));
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{
                  "Warning: The file " + path.toStdString() + " already exists, it will be overwritten",
                  "Error: Failed to create output file " + folder.path("none/out").toStdString(),
                  "Warning: The file /dev/full already exists, it will be overwritten", "Error: 100% not written"}));

    EXPECT_EQ(QFile::permissions(path) & QFile::Permissions(0x0077), QFile::Permissions());
    EXPECT_EQ(replaceFile({}, "x"), ReplaceResult::cannotOpen);
    EXPECT_EQ(replaceFile(folder.path(QByteArray(300, 'n').constData()), "x"), ReplaceResult::cannotOpen);
    ASSERT_TRUE(QFile::link(folder.path("target"), folder.path("link")) && QFile::link(path, folder.path("old")));
    EXPECT_EQ(replaceFile(folder.path("link"), "new"), ReplaceResult::done);
    EXPECT_EQ(replaceFile(folder.path("old"), "old"), ReplaceResult::done);
    EXPECT_TRUE(QFileInfo(folder.path("old")).isSymLink() && QFile::remove(folder.path("old")));
    EXPECT_TRUE(QFileInfo(folder.path("link")).isSymLink() && QFile::remove(folder.path("link")));
    EXPECT_TRUE(QFile::remove(folder.path("target")));

    EXPECT_EQ(replaceFile(folder.path("secret"), "x", FileAccess::ownerOnly), ReplaceResult::done);
    EXPECT_EQ(QFile::permissions(folder.path("secret")) & QFile::Permissions(0x0077), QFile::Permissions());
    EXPECT_TRUE(QFile::remove(folder.path("secret")));

    const auto failHalfway = [](const PieceWriter& write) { return !write("part"); };
    EXPECT_EQ(replaceFileBy(path, failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(replaceFileBy(folder.path("new"), failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(folder.read("out"), "old");
    EXPECT_EQ(QDir(folder.path("")).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST(OutputFile, OverwritesAFileInALockedFolder) {
    const struct {
        const char* name;
        mode_t folderMode;
        mode_t fileMode;  ///< 0: there is no file
        FileAccess access;
        ReplaceResult result;
        bool onlyAsRoot;  ///< the row needs a folder of another user, which only root can make
    } rows[] = {
        {"read-only folder", 0555, 0666, FileAccess::asUsual, ReplaceResult::done, false},
        {"public key in it", 0555, 0666, FileAccess::everybodyReads, ReplaceResult::done, false},
        {"private key in another's file", 0555, 0666, FileAccess::ownerReads, ReplaceResult::cannotOpen, true},
        {"read-only file", 0777, 0444, FileAccess::asUsual, ReplaceResult::cannotOpen, false},
        {"read-only file in it", 0555, 0444, FileAccess::asUsual, ReplaceResult::cannotOpen, false},
        {"new file in it", 0555, 0, FileAccess::asUsual, ReplaceResult::cannotOpen, false},
        {"another's file in a sticky folder", 01777, 0666, FileAccess::ownerOnly, ReplaceResult::done, true},
        {"another's private file there", 01777, 0600, FileAccess::asUsual, ReplaceResult::cannotOpen, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.onlyAsRoot && geteuid() != 0) {
            continue;
        }
        const TempFolder folder;
        const QByteArray place = folder.path("").toUtf8();
        const QByteArray path = folder.path("out").toUtf8();
        if (row.fileMode != 0) {
            folder.write("out", "what was there before");
            ASSERT_EQ(chmod(path.constData(), row.fileMode), 0);
        }
        ASSERT_EQ(chmod(place.constData(), row.folderMode), 0);
        EXPECT_EQ(inOwnProcess([&] {
                      dropRoot();
                      return replaceFile(folder.path("out"), "new", row.access) == row.result;
                  }),
                  0);
        chmod(place.constData(), 0700);
        const bool isNew = row.result == ReplaceResult::done;
        EXPECT_EQ(folder.read("out"), isNew ? "new" : row.fileMode != 0 ? "what was there before" : "");
        EXPECT_EQ(QDir(folder.path("")).entryList(QDir::Files | QDir::Hidden).size(), row.fileMode != 0 ? 1 : 0);
    }
}

// replaceFile makes a read-only key file writable first, which the system allows only to the file's owner.
TEST(OutputFile, WritesOverAReadOnlyKeyInAReadOnlyFolder) {
    const TempFolder folder;
    const QByteArray place = folder.path("").toUtf8();
    const QByteArray path = folder.write("key", "old").toUtf8();
    ASSERT_EQ(chmod(path.constData(), 0444), 0);
    ASSERT_EQ(chmod(place.constData(), 0555), 0);
    ASSERT_TRUE(geteuid() != 0 || chown(path.constData(), 65534, 65534) == 0);
    EXPECT_EQ(inOwnProcess([&] {
                  dropRoot();
                  return replaceFile(folder.path("key"), "new", FileAccess::ownerReads) == ReplaceResult::done;
              }),
              0);
    chmod(place.constData(), 0700);
    EXPECT_EQ(folder.read("key"), "new");
    struct stat status {};
    EXPECT_EQ(stat(path.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0400U);
}

TEST(OutputFile, WritesOverAMountedFileButNotWithoutRoom) {
    const TempFolder folder;
    const QByteArray path = folder.write("out", "old").toUtf8();
    const int mounted = inOwnProcess([&] {
        ownMounts();
        return mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr) == 0 &&
               replaceFile(folder.path("out"), "new") == ReplaceResult::done;
    });
    const int full = inOwnProcess([&] {
        ownMounts();
        const QByteArray place = folder.path("").toUtf8();
        if (mount("none", place.constData(), "tmpfs", 0, "size=64k,mode=555") != 0) {
            _exit(childSkipped);
        }
        const QByteArray old(40000, 'o');
        folder.write("out", old);
        chmod(path.constData(), 0666);
        dropRoot();
        return replaceFile(folder.path("out"), QByteArray(80000, 'n')) == ReplaceResult::cannotWrite &&
               folder.read("out") == old && replaceFile(folder.path("out"), "new") == ReplaceResult::done &&
               folder.read("out") == "new";
    });
    if (mounted == childSkipped || full == childSkipped) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(mounted, 0);
    EXPECT_EQ(full, 0);
    EXPECT_EQ(folder.read("out"), "new");
}

TEST(OutputFile, ReplacesNothingThatIsNotOnTheDisk) {
    const TempFolder folder;
    folder.write("out", "old");
    for (bool* const fails : {&closeFails, &flushFails}) {
        *fails = true;
        EXPECT_EQ(replaceFile(folder.path("out"), "new"), ReplaceResult::cannotWrite);
        *fails = false;
        EXPECT_EQ(folder.read("out"), "old");
    }
    flushFails = true;
    EXPECT_EQ(replaceFile(folder.path("new"), "new"), ReplaceResult::done);  // there is no older file to lose
    flushFails = false;
}

/// Replaces two files by "new" and 80,000 bytes.
ReplaceResult replaceTwo(const QString& first, const QString& second) {
    return replaceFiles({{first, "new"}, {second, QByteArray(80000, 'n')}});
}

// The second file is in a read-only folder, so replaceFiles() overwrites it in place. The disk has no room for its new
// content.
TEST(OutputFile, ReplacesTwoFilesOrNone) {
    const TempFolder folder;
    QDir(folder.path("")).mkdir(QStringLiteral("full"));
    chmod(folder.path("").toUtf8().constData(), 0777);
    chmod(folder.write("out", "old").toUtf8().constData(), 0666);
    const int result = inOwnProcess([&] {
        ownMounts();
        const QByteArray full = folder.path("full").toUtf8();
        if (mount("none", full.constData(), "tmpfs", 0, "size=64k,mode=555") != 0) {
            _exit(childSkipped);
        }
        const QByteArray old(40000, 'o');
        chmod(folder.write("full/out", old).toUtf8().constData(), 0666);
        dropRoot();
        const bool keepsOld = replaceTwo(folder.path("out"), folder.path("full/out")) == ReplaceResult::cannotWrite &&
                              folder.read("out") == "old" && folder.read("full/out") == old;
        const bool makesNone = replaceTwo(folder.path("none"), folder.path("full/out")) == ReplaceResult::cannotWrite &&
                               !QFile::exists(folder.path("none"));
        return keepsOld && makesNone &&
               replaceTwo(folder.path("full/out"), folder.path("out")) == ReplaceResult::done &&
               folder.read("out").size() == 80000 && folder.read("full/out") == "new";
    });
    if (result == childSkipped) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(QDir(folder.path("")).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("out")});
}

TEST(OutputFile, WaitsForAnotherRunThatReplacesTwoFiles) {
    const TempFolder folder;
    folder.write("one", "old");
    int lock = open(folder.path("").toUtf8().constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(lock);
        _exit(replaceTwo(folder.path("one"), folder.path("two")) == ReplaceResult::done ? 0 : 1);
    }
    usleep(200000);
    EXPECT_EQ(folder.read("one"), "old");
    EXPECT_FALSE(QFile::exists(folder.path("two")));
    close(lock);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(folder.read("one"), "new");
}

TEST(OutputFile, KnowsAFileByAnyName) {
    const TempFolder folder;
    const QString path = folder.write("one", "x");
    folder.write("two", "x");
    ASSERT_EQ(link(qUtf8Printable(path), qUtf8Printable(folder.path("hard"))), 0);
    ASSERT_TRUE(QFile::link(path, folder.path("soft")) && QFile::link(folder.path("none"), folder.path("nowhere")));
    EXPECT_TRUE(isSameFile(path, folder.path("hard")));
    EXPECT_TRUE(isSameFile(path, folder.path("soft")));
    EXPECT_TRUE(isSameFile(folder.path("nowhere"), folder.path("./none")));
    EXPECT_FALSE(isSameFile(path, folder.path("two")));
    EXPECT_FALSE(isSameFile(path, folder.path("none")));
    EXPECT_FALSE(isSameFile({}, {}));
}

// Bytes that were removed from the front or the end are still in the allocation. `wipe` clears the whole allocation and
// no byte after it.
TEST(Wipe, EmptiesWhatItOwns) {
    QByteArray secret(32, 's');
    const char* const start = secret.constData();
    const qsizetype size = secret.capacity();
    secret.remove(0, 8);
    secret.chop(8);
    wipe(secret);
    EXPECT_TRUE(secret.isEmpty());
    EXPECT_EQ(lastWiped.data(), start);
    EXPECT_EQ(lastWiped.size(), size);

    const QByteArray kept("kept elsewhere");
    QByteArray shared = kept;
#ifndef QT_NO_DEBUG
    EXPECT_DEATH(wipe(shared), "isDetached");  // another array shares the bytes, so wipe() must not be called
#endif
    EXPECT_EQ(kept, "kept elsewhere");
}
