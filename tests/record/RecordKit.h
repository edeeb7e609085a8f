#pragma once

#include "record/StationKey.h"
#include "record/chain.h"
#include "record/checkpoint.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QJsonObject>

// A station of the tests: its key pair, and records that it writes.

inline const QString kitStation = QStringLiteral("line-1");
inline const QString kitTime = QStringLiteral("2026-11-26T06:00:00.123Z");

/// The key of the station, in PEM form. Only tests use it.
[[nodiscard]] QByteArray kitPrivatePem();
[[nodiscard]] QByteArray kitPublicPem();
/// The key, read from a file of mode 0600.
[[nodiscard]] const record::StationKey& kitStationKey();

/// An object with the members of a JSON text.
[[nodiscard]] QJsonObject kitObject(const QByteArray& json);
/// `object` with one member set.
[[nodiscard]] QJsonObject kitWith(QJsonObject object, const char* member, const QJsonValue& value);
[[nodiscard]] QJsonObject kitWithout(QJsonObject object, const char* member);

/// Bodies of lines, one for each kind except "checkpoint". The device has two steps and three outputs.
[[nodiscard]] QJsonObject kitStart();
[[nodiscard]] QJsonObject kitDevice(const char* serial = "A-0001");
[[nodiscard]] QJsonObject kitFailedDevice();
[[nodiscard]] QJsonObject kitEnd(int proven, int failed, int interrupted);
[[nodiscard]] QJsonObject kitRecall();
[[nodiscard]] QJsonObject kitRetire();
[[nodiscard]] QJsonObject kitEpoch();
[[nodiscard]] QJsonObject kitImport();

/// Writes a record as a station does.
class KitWriter {
  public:
    void add(const QJsonObject& body);
    /// Adds a checkpoint over all lines since the last one.
    void addCheckpoint();
    /// Adds a checkpoint with this statement, without checking it.
    void addSigned(const QByteArray& statement);
    /// The statement of the checkpoint that addCheckpoint() adds next.
    [[nodiscard]] QJsonObject statement() const;
    /// Adds any text as a line.
    void addText(const QByteArray& line);

    [[nodiscard]] const QByteArrayList& lines() const { return lines_; }
    [[nodiscard]] QByteArray bytes() const;
    [[nodiscard]] const record::ChainHead& head() const { return head_; }

  private:
    QByteArrayList lines_;
    record::ChainHead head_;
    record::Pending pending_;
};

/// The bytes of a file with these lines.
[[nodiscard]] QByteArray kitBytes(const QByteArrayList& lines);

/// A record with every kind of line, two checkpoints, and a checkpoint at its end.
[[nodiscard]] KitWriter kitRecord();
/// Four lines and a checkpoint.
[[nodiscard]] KitWriter kitSmallRecord();
