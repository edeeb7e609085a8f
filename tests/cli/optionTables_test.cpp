#include "cli/commands.h"
#include "tests/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

#include <QProcess>
#include <QRegularExpression>

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>

namespace {

using Words = std::set<std::string>;

// The help shows a long form that the command doesn't accept.
constexpr char shownInVain[] = "--directory";

/// The words at the start of a row of the help, or in a list of names, that begin with '-'.
Words leadingWords(const QByteArray& text) {
    Words words;
    for (QByteArray word : text.simplified().split(' ')) {
        if (!word.startsWith('-')) {
            break;
        }
        while (word.endsWith(',') || word.endsWith(':')) {
            word.chop(1);
        }
        words.insert(word.toStdString());
    }
    return words;
}

/// The sections of the help. Each is the set of the words at the start of its rows.
std::vector<Words> helpSections() {
    std::vector<Words> sections;
    for (const QByteArray& line : runCommand(QStringLiteral("."), {QStringLiteral("-h")}).output.split('\n')) {
        const bool isRow = line.startsWith(' ');
        if (!isRow && !line.isEmpty()) {
            sections.emplace_back();
        } else if (isRow && !sections.empty()) {
            sections.back().merge(leadingWords(line));
        }
    }
    return sections;
}

/// The options that the help doesn't list, by the word of the command.
std::map<std::string, Words> moreOptions() {
    std::map<std::string, Words> more;
    for (const QByteArray& line : fileContent(QStringLiteral(QVORA_EXAMPLES "/more-options.tsv")).split('\n')) {
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 3) {
            more[fields.at(0).toStdString()].merge(leadingWords(fields.at(1)));
        }
    }
    return more;
}

Words wordsOf(const cli::Command& command) {
    Words words;
    for (const char* const word : command.words) {
        if (word != nullptr) {
            words.insert(word);
        }
    }
    return words;
}

/// The words of a command and of its options, without the words of other commands that its table ignores.
Words tableOf(const cli::Command& command) {
    Words others;
    for (const cli::Command* const other : cli::commandChain()) {
        others.merge(wordsOf(*other));
    }
    Words words = wordsOf(command);
    for (const cli::OptionNames& option : command.options) {
        for (const char* const name : {option.shortName, option.longName}) {
            if (!others.contains(name)) {
                words.insert(name);
            }
        }
    }
    return words;
}

QByteArray made(const char* page) {
    QProcess maker;
    maker.start(QStringLiteral(QVORA_MAKE_DOCS), {QString::fromLatin1(page), QStringLiteral(QVORA_TOOL)});
    return maker.waitForFinished() && maker.exitCode() == 0 ? maker.readAllStandardOutput() : QByteArray();
}

/// Every word in `text` that begins with '-'.
Words optionsIn(const QByteArray& text) {
    static const QRegularExpression option(QStringLiteral("(?<![\\w-])--?[A-Za-z?][a-z-]*"));
    Words words;
    QRegularExpressionMatchIterator match = option.globalMatch(QString::fromUtf8(text));
    while (match.hasNext()) {
        words.insert(match.next().captured().toStdString());
    }
    return words;
}

TEST(OptionTables, AreWhatTheHelpAndItsSupplementSay) {
    const std::vector<Words> sections = helpSections();
    std::map<std::string, Words> more = moreOptions();
    std::map<const Words*, Words> documented;
    Words nowhere;
    for (const cli::Command* const command : cli::commandChain()) {
        const auto section = std::find_if(sections.begin(), sections.end(), [command](const Words& words) {
            return words.contains(command->words.front());
        });
        Words& taken = section == sections.end() ? nowhere : documented[&*section];
        taken.merge(tableOf(*command));
        for (const std::string& word : more[command->words.front()]) {
            EXPECT_EQ(taken.erase(word), 1U) << word << " of " << command->words.front();
        }
    }
    for (auto& [section, taken] : documented) {
        Words shown = *section;
        shown.erase(shownInVain);
        EXPECT_EQ(taken, shown);
    }
    EXPECT_EQ(documented.size(), sections.size() - 2);  // the first two lines name no option
    EXPECT_EQ(nowhere, Words());
}

TEST(OptionTables, AreInTheManualTheManPageAndTheCompletion) {
    const Words manual = optionsIn(fileContent(QStringLiteral(QVORA_EXAMPLES "/../docs/manual.md")));
    const Words page = optionsIn(made("man").replace("\\-", "-"));
    const Words completion = optionsIn(made("completion"));
    for (const cli::Command* const command : cli::commandChain()) {
        EXPECT_TRUE(manual.contains(command->words.front())) << command->words.front();
        for (const std::string& word : tableOf(*command)) {
            EXPECT_TRUE(page.contains(word)) << word;
            EXPECT_TRUE(completion.contains(word)) << word;
        }
    }
}

}  // namespace
