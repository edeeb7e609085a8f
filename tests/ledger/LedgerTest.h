#pragma once

#include "ledger/Ledger.h"
#include "ledger/Summary.h"
#include "tests/ledger/PostgresServer.h"
#include "tests/support/TempFolder.h"

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

enum class Backend { sqlite, postgres };

/// A new ledger for each test, in a file or in a database of the server. Stations use it under the station role.
class LedgerTest : public testing::TestWithParam<Backend> {
  protected:
    void SetUp() override;

    /// Opens the ledger; a fault fails the test.
    [[nodiscard]] std::unique_ptr<ledger::Ledger> open(
        const char* station, ledger::Ledger::Access access = ledger::Ledger::Access::station) const;
    /// Runs SQL as the owner of the ledger, by sqlite3 or psql. Returns all output.
    QByteArray sql(const QByteArray& statement) const;
    [[nodiscard]] bool isSqlite() const { return GetParam() == Backend::sqlite; }

    TempFolder folder;
    QString place;
    QString database;  // PostgreSQL only
};

/// The rules of docs/ledger.md for the roles.
[[nodiscard]] QByteArray roleStatements();

/// The fingerprint of a key, and the part of an IV, with this number.
[[nodiscard]] QByteArray fingerprint(int number);
[[nodiscard]] QByteArray part(int number, qsizetype size = 8);

/// A line that continues the record after `before`.
[[nodiscard]] ledger::RecordRow lineAfter(const ledger::RecordRow& before, const QByteArray& kind = "device");

[[nodiscard]] ledger::ClaimRequest request(const char* serial, std::initializer_list<int> parts = {});
[[nodiscard]] ledger::ClaimResult claimOne(ledger::Ledger& ledger, const ledger::ClaimRequest& request);
/// Claims and ends a device. Returns whether the end was final.
[[nodiscard]] bool finishOne(ledger::Ledger& ledger, const ledger::Attempt& attempt, ledger::Outcome::Kind kind,
                             const char* reason = "");
[[nodiscard]] std::string findings(ledger::Ledger& ledger);
[[nodiscard]] std::string text(const ledger::Fault& fault);
[[nodiscard]] const char* name(ledger::ClaimResult::Kind kind);
