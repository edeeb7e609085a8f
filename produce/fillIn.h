#pragma once

#include "produce/ProductionJob.h"

#include <QHash>

namespace produce {

/// The values of a device that replace placeholders.
struct Device {
    QString serial;
    QStringList values;                ///< values of the job's columns, in the order of the columns
    QString outFolder;                 ///< absolute path of the device's folder
    QStringList noncePaths;            ///< paths of the nonces by step; empty for a step that uses none
    QHash<QString, QString> keyPaths;  ///< paths of the keys by name
};

/// A step with its placeholders filled in. Paths are absolute.
struct FilledStep {
    jobs::JobValues values;
    QList<Copy> copies;
    QList<ProofArgument> proof;
};

/// Fills in a step. The result is false if a path that the command writes leaves the device's folder, or a value of
/// the device can't be an argument. `fault` then is one sentence after the place in the job, and `filled` is unchanged.
[[nodiscard]] bool fillIn(const ProductionJob& job, const Step& step, const Device& device, FilledStep& filled,
                          QString& fault);

/// Fills in all steps, and checks that no two of them write the same file.
[[nodiscard]] bool fillInAll(const ProductionJob& job, const Device& device, QList<FilledStep>& filled, QString& fault);

/// Fills in one field, like `fillIn`.
[[nodiscard]] bool fillInField(const ProductionJob& job, const Step& step, const jobs::FieldRow& row,
                               const Device& device, QStringList& value, QString& fault);

/// The text of a file that is copied with `expand`. A value that has a meaning of its own in XML or JSON is refused, so
/// that a device table can't change the structure of a template.
[[nodiscard]] bool expandText(const ProductionJob& job, const Device& device, QByteArrayView text, QByteArray& expanded,
                              QString& fault);

/// Whether `path` is in `folder`, by its text: it begins with the folder and has no "..".
[[nodiscard]] bool isInFolder(const QString& folder, const QString& path);

/// The files that the step makes: those of its fields, and those that its templates name. Call it after the copies were
/// made, because it reads the templates.
[[nodiscard]] QStringList outputPaths(const Step& step, const FilledStep& filled);

/// A file that a step reads.
struct InputPath {
    QString field;  ///< id of the field; "copies" for a file that is copied
    QString path;
    bool isSecret = false;  ///< only its owner should be able to read it
    bool isKey = false;     ///< it has a key, a nonce or other secrets
};

[[nodiscard]] QList<InputPath> inputPaths(const Step& step, const FilledStep& filled);

}  // namespace produce
