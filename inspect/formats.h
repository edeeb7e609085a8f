#pragma once

#include "inspect/Description.h"
#include "inspect/Evidence.h"

#include <QStringList>

#include <span>

namespace inspect {

/// The bytes to look at. The owner keeps them as long as anything looks.
struct Source {
    QString path;
    QByteArrayView bytes;
    QString secondPath;  ///< the other file of a pair; empty if there is none
    QByteArrayView second;
};

/// How well a content fits a format: `magic` for a right start with faults behind it, which is a broken file of the
/// format and no unknown one; `whole` if every byte has its place.
enum class Match { no, magic, whole };

/// One format that the opener knows.
struct FormatRow {
    const char* name;      ///< stable: `--as` and JSON
    const char* title;     ///< in text
    const char* suffixes;  ///< without dots, with blanks between
    Match (*match)(QByteArrayView bytes);
    void (*describe)(const Source& source, Description& description);
    void (*prove)(const Source& source, const Evidence& evidence, Description& description, Contents* contents);
};

[[nodiscard]] std::span<const FormatRow> formatTable();
[[nodiscard]] const FormatRow* formatByName(const QString& name);

/// The row that fits `source` best, or null: by content, and where that leaves a choice or nothing, by suffix. Findings
/// about the choice are added to `description`.
[[nodiscard]] const FormatRow* findFormat(const Source& source, Description& description);

/// Finds the format of `source`, or takes `as` if it isn't null, and describes it.
[[nodiscard]] Description describe(const Source& source, const FormatRow* as = nullptr);

/// Adds the checks to what `describe` gave, and the plain contents if they are wanted.
void prove(const Source& source, const Evidence& evidence, Description& description, Contents* contents = nullptr);

[[nodiscard]] Match matchInstallImage(QByteArrayView bytes);
void describeInstallImage(const Source& source, Description& description);
void proveInstallImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents);

}  // namespace inspect
