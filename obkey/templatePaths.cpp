#include "obkey/templatePaths.h"

#include <QStringList>

namespace obkey {

namespace {

constexpr qsizetype longPath = 255;

void useSlashes(QString& path) {
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

bool beginsWithDots(const QString& path) {
    return path.startsWith(QLatin1String("./")) || path.startsWith(QLatin1String("../"));
}

/// Whether a path begins with "C:/" or another capital drive letter. A lower-case letter isn't accepted.
bool beginsWithDrive(const QString& path) {
    return path.size() >= 3 && path[0] >= QLatin1Char('A') && path[0] <= QLatin1Char('Z') &&
           path[1] == QLatin1Char(':') && path[2] == QLatin1Char('/');
}

}  // namespace

QString templateFolder(const QString& xmlPath) {
    QString path = xmlPath;
    useSlashes(path);
    const qsizetype lastSlash = path.lastIndexOf(QLatin1Char('/'));
    return lastSlash < 0 ? QStringLiteral(".") : path.left(lastSlash);
}

QString withSingleBackslashes(QString xmlPath) {
    return xmlPath.replace(QLatin1String("\\\\"), QLatin1String("\\"));
}

void resolveObkeyPath(QString& path, const QString& folder) {
    useSlashes(path);
    if (beginsWithDots(path) || (!path.startsWith(QLatin1Char('/')) && !beginsWithDrive(path))) {
        path = folder + QLatin1Char('/') + path;
    }
}

void resolveMcubootPath(QString& path, const QString& folder) {
    useSlashes(path);
    if (!beginsWithDots(path)) {
        return;
    }
    path = folder + QLatin1Char('/') + path;
    const bool hasDots = path.contains(QLatin1String("/../")) || path.contains(QLatin1String("/./"));
    if (path.size() >= longPath && hasDots) {
        path = collapsePath(path);
    }
}

QString collapsePath(QString path) {
    useSlashes(path);
    const QStringList segments = path.split(QLatin1Char('/'));
    QStringList kept;
    for (const QString& segment : segments) {
        const bool isUp = segment == QLatin1String("..");
        if (isUp && !kept.isEmpty() && kept.last() != QLatin1String("..")) {
            kept.removeLast();
        } else if (segment != QLatin1String(".")) {
            kept.append(segment);
        }
    }
    return kept.join(QLatin1Char('/'));
}

}  // namespace obkey
