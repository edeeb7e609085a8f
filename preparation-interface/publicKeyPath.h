#pragma once

#include <QDir>
#include <QString>

/// The path to which signing writes the public key: the private key's path without the suffix of its file name,
/// followed by "_pub.bin".
[[nodiscard]] inline QString publicKeyPath(const QString& privateKeyPath) {
    const QString path = QDir::fromNativeSeparators(privateKeyPath);
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > path.lastIndexOf(QLatin1Char('/')) ? path.left(dot) : path;
    return stem + QStringLiteral("_pub.bin");
}
