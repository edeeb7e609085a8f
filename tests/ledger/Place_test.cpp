#include "ledger/Place.h"

#include "ledger/faults.h"

#include <gtest/gtest.h>

namespace {

TEST(Place, ReadsPathsAndUrls) {
    struct Case {
        const char* text;
        const char* host;
        int port;
        const char* database;
        const char* user;
        const char* password;
        const char* options;
        int patience;
        const char* shown;
    };
    const Case cases[] = {
        {"postgresql://db/line", "db", -1, "line", "", "", "", 10, "the database line on db"},
        {"postgres://u:p%40%3B@db:5433/line", "db", 5433, "line", "u", "p@;", "", 10, "the database line on db"},
        {"postgresql:///line?host=/run/x", "/run/x", -1, "line", "", "", "", 10, "the database line on /run/x"},
        {"postgresql://u@[::1]/l%20x?sslmode=verify-full&sslrootcert=a'%5C", "::1", -1, "l x", "u", "",
         "sslmode='verify-full';sslrootcert='a\\'\\\\'", 10, "the database l x on ::1"},
        {"postgresql:///?service=line&connect_timeout=3", "", -1, "", "", "", "service='line'", 3,
         "the database  on the default server"},
    };
    for (const Case& row : cases) {
        ledger::Place place;
        ledger::Fault fault;
        ASSERT_TRUE(ledger::readPlace(QString::fromUtf8(row.text), place, fault)) << fault.text.toStdString();
        EXPECT_EQ(place.dialect, ledger::Dialect::postgres) << row.text;
        EXPECT_EQ(place.host, QString::fromUtf8(row.host)) << row.text;
        EXPECT_EQ(place.port, row.port) << row.text;
        EXPECT_EQ(place.database, QString::fromUtf8(row.database)) << row.text;
        EXPECT_EQ(place.user, QString::fromUtf8(row.user)) << row.text;
        EXPECT_EQ(place.password, QString::fromUtf8(row.password)) << row.text;
        EXPECT_EQ(place.options, QString::fromUtf8(row.options)) << row.text;
        EXPECT_EQ(place.patience, row.patience) << row.text;
        EXPECT_EQ(place.shown, QString::fromUtf8(row.shown)) << row.text;
    }
    ledger::Place place;
    ledger::Fault fault;
    ASSERT_TRUE(ledger::readPlace(QStringLiteral("/a/b/../line.ledger"), place, fault));
    EXPECT_EQ(place.dialect, ledger::Dialect::sqlite);
    EXPECT_EQ(place.path, QStringLiteral("/a/b/../line.ledger"));
}

TEST(Place, RefusesWrongUrlsWithoutQuotingThem) {
    struct Case {
        const char* text;
        const char* fault;
    };
    const Case cases[] = {
        {"", "the path of the ledger is empty or contains NUL"},
        {"postgresql://u:sec ret@db/x#y",
         "the ledger's URL isn't valid; expected is "
         "postgresql://[user[:password]@][host][:port]/database[?option=value]"},
        {"postgresql://u:secret@db/x?options=-c%20fsync=off", "the ledger's URL has the unknown option options"},
        {"postgresql://u:secret@db/x?password=secret", "the ledger's URL has the unknown option password"},
        {"postgresql://db/x?sslmode=a;b=c", "the option sslmode of the ledger's URL contains a semicolon or NUL"},
        {"postgresql://db/x%00", "the ledger's URL contains NUL"},
        {"postgresql://db/x?connect_timeout=0",
         "connect_timeout of the ledger's URL is 0; expected are 2 to 600 seconds"},
        {"postgresql://db/x?connect_timeout=3s",
         "connect_timeout of the ledger's URL is 3s; expected are 2 to 600 seconds"},
    };
    for (const Case& row : cases) {
        ledger::Place place;
        place.shown = QStringLiteral("untouched");
        ledger::Fault fault;
        EXPECT_FALSE(ledger::readPlace(QString::fromUtf8(row.text), place, fault)) << row.text;
        EXPECT_EQ(fault.text.toStdString(), row.fault);
        EXPECT_EQ(place.shown, QStringLiteral("untouched"));
    }
}

}  // namespace
