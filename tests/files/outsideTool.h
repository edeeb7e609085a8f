#pragma once

#include "tests/support/TempFolder.h"

#include <QProcess>

/// Runs a blank-separated command in `folder`; false if it isn't installed or fails.
inline bool runOutside(const TempFolder& folder, const char* command) {
    QProcess process;
    process.setWorkingDirectory(folder.path(""));
    process.startCommand(QString::fromLatin1(command));
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
