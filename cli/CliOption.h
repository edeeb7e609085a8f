#pragma once

#include <QString>
#include <QStringList>

namespace cli {

/// One option of the command line: a word that begins with '-', and the words after it up to the next such word.
struct CliOption {
    QString name;
    QStringList params;
};

}  // namespace cli
