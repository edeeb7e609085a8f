#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <span>

// The command lines of programs with commands: a command of one or two words, operands and options.

namespace calls {

constexpr int statusDone = 0;
constexpr int statusFailed = 1;
constexpr int statusNothing = 2;

/// The words and options of a command line.
class Call {
  public:
    QStringList operands;                 ///< the words after the command's own words
    QHash<QString, QStringList> options;  ///< by name, without dashes; a switch has one empty value

    [[nodiscard]] bool has(const char* name) const { return options.contains(QLatin1String(name)); }
    [[nodiscard]] QString value(const char* name) const { return options.value(QLatin1String(name)).value(0); }
    [[nodiscard]] QStringList values(const char* name) const { return options.value(QLatin1String(name)); }
};

struct OptionRow {
    const char* names;  ///< separated by blanks; the last one is the option's name
    const char* value;  ///< null for a switch
    const char* help;
    bool isRepeated = false;
};

struct CommandRow {
    const char* words;     ///< such as "record verify"
    const char* operands;  ///< as in the help
    int leastOperands = 0;
    int mostOperands = 0;  ///< -1: any number
    const char* options;   ///< names, separated by blanks; "!" after those that are needed
    const char* help;
    int (*run)(const Call& call);  ///< prints its faults and returns the status
};

struct Program {
    const char* name;
    const char* purpose;   ///< a sentence
    const char* statuses;  ///< what each exit status means
    std::span<const OptionRow> options;
    std::span<const CommandRow> commands;
    void (*printFault)(const QString& text);
};

/// Runs one command line. Prints data to standard output and faults to standard error. Returns the command's status, or
/// `statusNothing` if the command line is wrong.
[[nodiscard]] int run(const Program& program, int argc, char** argv);

}  // namespace calls
