#include "display/Display.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

/// Restores the initial state of the process-wide display after each test.
struct DisplayTest : testing::Test {
    Display* const display = Display::getInstance();

    ~DisplayTest() override {
        display->closeLog();
        display->consoleOff = display->plain = display->forceVerbose = 0;
        display->verbosity = 1;
        display->callback = nullptr;
    }
};

/// One message of every kind, and one of an unknown kind, as the callback receives them.
std::string everyKind() {
    const MessageCapture capture;
    for (int kind = 0; kind <= 12; ++kind) {
        displayMessage(static_cast<MessageKind>(kind), "m%d", kind);
    }
    std::string result;
    for (const auto& [kind, text] : capture.messages()) {
        result += std::to_string(kind) + ' ' + text + '\n';
    }
    return result;
}

TEST_F(DisplayTest, KindsAndPrefixes) {
    EXPECT_EQ(everyKind(),
              "0 m0\n1 m1\n2 m2\n3 m3\n4 Warning: m4\n5 Error: m5\n6 m6\n7 m7\n8 m8\n9 m9\n"
              "10 Warning: m10\n11 Error: m11\n12 m12\n");
    display->plain = 1;
    EXPECT_EQ(everyKind(),
              "0 m0\n1 m1\n9 m2\n3 m3\n0 m4\n0 m5\n6 m6\n7 m7\n8 m8\n9 m9\n10 Warning: m10\n"
              "0 m11\n12 m12\n");
    display->plain = 0;
    display->forceVerbose = 1;
    EXPECT_THAT(everyKind(), HasSubstr("7 m3\n7 Warning: m4\n7 Error: m5\n"));
}

TEST_F(DisplayTest, CutsAndDecodesText) {
    const MessageCapture capture;
    for (const int size : {30718, 30719, 30720, 200000}) {
        displayMessage(MessageKind::warning, "%s", QByteArray(size, 'x').append("").constData());
        EXPECT_EQ(capture.texts().back().size(), 9U + static_cast<std::size_t>(std::min(size, 30719)));
    }
    displayMessage(MessageKind::normal, "%s", QByteArray("€").repeated(40000).constData());
    EXPECT_EQ(QString::fromStdString(capture.texts().back()), QString::fromUtf8("€").repeated(30719));
    displayMessage(MessageKind::normal, "%s", "\xE4 \xC3\xA4 \xED\xA0\x80 \xF0\x9F\x94\x91 \xE2\x82");
    EXPECT_EQ(capture.texts().back(), "ä ä í\xC2\xA0\xC2\x80 🔑 â\xC2\x82");
}

// The console shows the messages that the verbosity allows. The log contains all messages, and a percent sign in a text
// isn't read as a format.
TEST_F(DisplayTest, LogHoldsEveryMessage) {
    const TempFolder folder;
    display->callback = displayCallback;
    display->openLog(folder.path("trace.log"));
    testing::internal::CaptureStdout();
    displayMessage(MessageKind::verbose1, "shown");
    displayMessage(MessageKind::verbose2, "hidden");
    display->verbosity = 2;
    displayMessage(MessageKind::verbose2, "shown too");
    displayMessage(MessageKind::verbose3, "deep");
    displayMessage(MessageKind::error, "%s", "100%% of %s %n 5%\x1b[0m");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "shown\nshown too\nError: 100%% of %s %n 5%\x1b[0m\n");
    display->closeLog();

    const std::string stamp = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]:[0-9][0-9][0-9] ";
    EXPECT_THAT(folder.read("trace.log").toStdString(),
                MatchesRegex(stamp + "shown\n" + stamp + "hidden\n" + stamp + "shown too\n" + stamp + "deep\n" + stamp +
                             "Error: 100% of %s %n 5%\x1b.0m\n"));
}

/// The bytes that a terminal receives for a few messages. `noColor` is the value of NO_COLOR; null if it is unset.
std::string onTerminal(const char* noColor) {
    int terminal = -1;
    std::fflush(stdout);
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        noColor == nullptr ? unsetenv("NO_COLOR") : setenv("NO_COLOR", noColor, 1);
        Display::getInstance()->callback = displayCallback;
        Display::getInstance()->onTerminal = isatty(STDOUT_FILENO) == 1 ? 1 : 0;
        displayMessage(MessageKind::normal, "a\tb");
        displayMessage(MessageKind::warning, "%s", "\x1b[2J\r\x7F\xC2\x9B");
        displayMessage(MessageKind::verbose1, "c");
        std::fflush(stdout);
        _exit(0);
    }
    std::string text;
    std::array<char, 256> part{};
    for (ssize_t size = 0; (size = read(terminal, part.data(), part.size())) > 0;) {
        text.append(part.data(), static_cast<std::size_t>(size));
    }
    close(terminal);
    waitpid(child, nullptr, 0);
    return QString::fromStdString(text)
        .remove(QLatin1Char('\r'))
        .replace(QLatin1Char('\x1b'), QLatin1Char('^'))
        .toStdString();
}

TEST_F(DisplayTest, TerminalGetsColoursAndNoControlCharacters) {
    const std::string coloured = "^[0ma\tb\n^[0m^[93mWarning: \\x1B[2J\\x0D\\x7F\\x9B\n^[0m^[36mc\n^[0m";
    const std::string found = onTerminal(nullptr);
    if (found.empty()) {
        GTEST_SKIP() << "no terminal to be had";
    }
    EXPECT_EQ(found, coloured);
    EXPECT_EQ(onTerminal(""), coloured);
    EXPECT_EQ(onTerminal("1"), "a\tb\nWarning: \\x1B[2J\\x0D\\x7F\\x9B\nc\n");
}

TEST_F(DisplayTest, LogThatCannotBeOpenedStopsNothing) {
    const TempFolder folder;
    display->callback = displayCallback;
    display->openLog(folder.path("none/trace.log"));
    EXPECT_EQ(display->logEnabled, 1);
    testing::internal::CaptureStdout();
    displayMessage(MessageKind::success, "goes on");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "goes on\n");
}

}  // namespace
