#include "files/guardProcess.h"
#include "files/unfinishedFiles.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

namespace {

[[noreturn]] void throwOutOfMemory() {
    throw std::bad_alloc();
}

void throwUncaught() noexcept {
    throwOutOfMemory();
}

// A run leaves no unfinished file when an ending signal or a lack of memory ends it.
TEST(GuardProcess, RemovesUnfinishedFiles) {
    const TempFolder folder;
    const QByteArray place = folder.path("").toUtf8() + '/';
    const auto unfinishedFiles = [&folder] { return QDir(folder.path("")).entryList(QDir::Files | QDir::Hidden); };
    const auto start = [&](UnfinishedFile& file) {
        guardProcess();
        if (!file.create(place, ".pem").isOpen() || unfinishedFiles().size() != 1) {
            _exit(2);
        }
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        UnfinishedFile file;
        EXPECT_EXIT((start(file), raise(signal)), testing::KilledBySignal(signal), "");
        EXPECT_EQ(unfinishedFiles(), QStringList());
    }
    void (*const lacksMemory[])() = {[] { std::get_new_handler()(); }, [] { throwUncaught(); }};
    for (const auto end : lacksMemory) {
        UnfinishedFile file;
        EXPECT_EXIT((start(file), dup2(STDERR_FILENO, STDOUT_FILENO), end()), testing::ExitedWithCode(1),
                    "^Error: Out of memory\n$");
        EXPECT_EQ(unfinishedFiles(), QStringList());
    }
    EXPECT_EXIT((std::signal(SIGINT, SIG_IGN), guardProcess(), raise(SIGINT), raise(SIGPIPE), raise(SIGXFSZ), _exit(0)),
                testing::ExitedWithCode(0), "");
}

}  // namespace
