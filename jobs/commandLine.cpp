#include "jobs/commandLine.h"

#include "jobs/jobTable.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace jobs {

namespace {

/// The single value of the row as an argument; empty if there is none.
QString wordOf(const FieldRow& row, const JobValues& values) {
    const QStringList own = values.value(QLatin1String(row.id));
    const QString text = textOf(own);
    return isPath(row) && !text.isEmpty() ? pathArgument(own.constFirst()) : text;
}

void optionWithValue(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QString word = wordOf(row, values);
    if (!word.isEmpty()) {
        arguments << QLatin1String(row.option) << word;
    }
}

}  // namespace

QStringList argumentsOf(const JobRow& job, const JobValues& values) {
    QStringList arguments;
    if (*job.command != '\0') {
        arguments.append(QLatin1String(job.command));
    }
    for (const FieldRow* const row : fieldsOf(job)) {
        if (isShown(*row, values)) {
            (row->arguments == nullptr ? optionWithValue : row->arguments)(*row, values, arguments);
        }
    }
    return arguments;
}

QString programWord(const QString& toolPath) {
    const QFileInfo tool(toolPath);
    const QString found = QStandardPaths::findExecutable(tool.fileName());
    return !found.isEmpty() && QFileInfo(found).canonicalFilePath() == tool.canonicalFilePath() ? tool.fileName()
                                                                                                : toolPath;
}

QString pathArgument(const QString& path) {
    const bool changed = path.startsWith(u'-') || (!path.isEmpty() && path.front().isSpace());
    return changed ? QStringLiteral("./") + path : path;
}

void valueAlone(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QString word = wordOf(row, values);
    if (!word.isEmpty()) {
        arguments.append(word);
    }
}

void optionForEach(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QStringList own = values.value(QLatin1String(row.id));
    for (qsizetype i = 0; i < own.size(); i += 2) {
        if (!own.at(i).trimmed().isEmpty()) {
            arguments << QLatin1String(row.option) << pathArgument(own.at(i))
                      << own.value(i + 1).simplified().split(u' ', Qt::SkipEmptyParts);
        }
    }
}

void optionForAll(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QStringList own = values.value(QLatin1String(row.id));
    QStringList paths;
    for (qsizetype i = 0; i < own.size(); i += 2) {
        if (!own.at(i).trimmed().isEmpty()) {
            paths.append(pathArgument(own.at(i)));
        }
    }
    if (!paths.isEmpty()) {
        arguments << QLatin1String(row.option) << paths;
    }
}

void noArguments(const FieldRow& /*row*/, const JobValues& /*values*/, QStringList& /*arguments*/) {
}

}  // namespace jobs
