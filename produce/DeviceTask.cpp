#include "produce/DeviceTask.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

namespace produce {

// Qt's templates for lists find these operators only in the namespace of the types.

static QDataStream& operator<<(QDataStream& stream, const FieldPath& field) {
    return stream << field.step << field.field << field.path;
}

static QDataStream& operator>>(QDataStream& stream, FieldPath& field) {
    return stream >> field.step >> field.field >> field.path;
}

static QDataStream& operator<<(QDataStream& stream, const DeviceTask& task) {
    return stream << task.id << task.serial << task.values << task.folder << task.memory << task.noncePaths
                  << task.keyPaths << task.fieldPaths;
}

static QDataStream& operator>>(QDataStream& stream, DeviceTask& task) {
    return stream >> task.id >> task.serial >> task.values >> task.folder >> task.memory >> task.noncePaths >>
           task.keyPaths >> task.fieldPaths;
}

static QDataStream& operator<<(QDataStream& stream, const ProofTask& task) {
    return stream << task.arguments << task.outputs << task.memory << task.needsRulesOnly;
}

static QDataStream& operator>>(QDataStream& stream, ProofTask& task) {
    return stream >> task.arguments >> task.outputs >> task.memory >> task.needsRulesOnly;
}

static QDataStream& operator<<(QDataStream& stream, const FileDigest& file) {
    return stream << file.field << file.path << file.isSecret << file.size << file.sha256;
}

static QDataStream& operator>>(QDataStream& stream, FileDigest& file) {
    return stream >> file.field >> file.path >> file.isSecret >> file.size >> file.sha256;
}

static QDataStream& operator<<(QDataStream& stream, const StepResult& step) {
    return stream << step.name << step.isProven << step.reason << step.milliseconds << step.inputs << step.outputs;
}

static QDataStream& operator>>(QDataStream& stream, StepResult& step) {
    return stream >> step.name >> step.isProven >> step.reason >> step.milliseconds >> step.inputs >> step.outputs;
}

static QDataStream& operator<<(QDataStream& stream, const DeviceResult& result) {
    return stream << result.id << result.isProven << result.steps;
}

static QDataStream& operator>>(QDataStream& stream, DeviceResult& result) {
    return stream >> result.id >> result.isProven >> result.steps;
}

namespace {

constexpr qsizetype lengthSize = 4;
constexpr quint32 longestMessage = 64u << 20;

template <typename Message>
QByteArray packedMessage(const Message& message) {
    QByteArray bytes(lengthSize, '\0');
    QDataStream stream(&bytes, QIODevice::WriteOnly | QIODevice::Append);
    stream << message;
    qToLittleEndian(static_cast<quint32>(bytes.size() - lengthSize), bytes.data());
    return bytes;
}

template <typename Message>
Unpacking takePacked(QByteArray& bytes, Message& message) {
    if (bytes.size() < lengthSize) {
        return Unpacking::incomplete;
    }
    const quint32 length = qFromLittleEndian<quint32>(bytes.constData());
    if (length > longestMessage) {
        return Unpacking::broken;
    }
    if (bytes.size() - lengthSize < static_cast<qsizetype>(length)) {
        return Unpacking::incomplete;
    }
    QDataStream stream(bytes.sliced(lengthSize, length));
    Message read;
    stream >> read;
    if (stream.status() != QDataStream::Ok || !stream.atEnd()) {
        return Unpacking::broken;
    }
    message = std::move(read);
    bytes.remove(0, lengthSize + length);
    return Unpacking::done;
}

}  // namespace

QByteArray packed(const DeviceTask& task) {
    return packedMessage(task);
}

QByteArray packed(const DeviceResult& result) {
    return packedMessage(result);
}

QByteArray packed(const ProofTask& task) {
    return packedMessage(task);
}

QByteArray packed(const StepResult& result) {
    return packedMessage(result);
}

Unpacking takeMessage(QByteArray& bytes, DeviceTask& task) {
    return takePacked(bytes, task);
}

Unpacking takeMessage(QByteArray& bytes, DeviceResult& result) {
    return takePacked(bytes, result);
}

Unpacking takeMessage(QByteArray& bytes, ProofTask& task) {
    return takePacked(bytes, task);
}

Unpacking takeMessage(QByteArray& bytes, StepResult& result) {
    return takePacked(bytes, result);
}

}  // namespace produce
