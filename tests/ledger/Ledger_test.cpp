#include "tests/ledger/LedgerTest.h"

#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <set>

using ledger::Attempt;
using ledger::ClaimRequest;
using ledger::ClaimResult;
using ledger::Fault;
using ledger::Ledger;
using ledger::Outcome;
using ledger::RecordRow;

namespace {

INSTANTIATE_TEST_SUITE_P(Both, LedgerTest, testing::Values(Backend::sqlite, Backend::postgres),
                         [](const auto& test) { return test.param == Backend::sqlite ? "Sqlite" : "Postgres"; });

std::vector<ClaimResult> claimAll(Ledger& ledger, const std::vector<ClaimRequest>& requests) {
    std::vector<ClaimResult> results(requests.size());
    Fault fault;
    EXPECT_TRUE(ledger.claim(requests, results, fault)) << text(fault);
    return results;
}

std::string kinds(const std::vector<ClaimResult>& results) {
    std::string joined;
    for (const ClaimResult& result : results) {
        joined += std::string(joined.empty() ? "" : " ") + name(result.kind);
    }
    return joined;
}

Outcome proven(const Attempt& attempt) {
    return {attempt,
            Outcome::Kind::proven,
            {},
            {{QStringLiteral("install-image"), QByteArray(32, 'o'), 65536, 3}, {QStringLiteral("check"), {}, 0, 0}}};
}

TEST_P(LedgerTest, ClaimsADeviceOnce) {
    const auto station = open("one");
    const ClaimResult first = claimOne(*station, request("A1", {1, 2}));
    EXPECT_STREQ(name(first.kind), "claimed");
    EXPECT_EQ(first.attempt.number, 1);
    EXPECT_EQ(first.attempt.serial, QStringLiteral("A1"));
    const ClaimResult second = claimOne(*station, request("A1", {3}));
    EXPECT_STREQ(name(second.kind), "heldHere");
    EXPECT_EQ(second.attempt.number, 1);
    const auto other = open("two");
    const ClaimResult third = claimOne(*other, request("A1", {3}));
    EXPECT_STREQ(name(third.kind), "heldByOther");
    EXPECT_EQ(third.station, QStringLiteral("one"));
    // The refused requests used no IV.
    EXPECT_STREQ(name(claimOne(*other, request("A2", {3})).kind), "claimed");
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, GivesAnIvOnce) {
    const auto station = open("one");
    // An IV can't be used twice within one request, within one call, or in a later call. Another key or a longer part
    // makes another IV.
    EXPECT_EQ(kinds(claimAll(*station, {request("A", {1, 1}), request("B", {1}), request("C", {1}),
                                        request("D", {2, 1}), request("E", {2})})),
              "ivUsed claimed ivUsed ivUsed claimed");
    const ClaimResult later = claimOne(*station, request("F", {3, 1}));
    EXPECT_STREQ(name(later.kind), "ivUsed");
    EXPECT_EQ(later.iv, 1);
    ClaimRequest different{QStringLiteral("meter"), QStringLiteral("F"), {}};
    different.ivs = {{fingerprint(1), part(1)}, {fingerprint(0), part(1, 16)}, {fingerprint(0), part(3)}};
    EXPECT_STREQ(name(claimOne(*station, different).kind), "claimed");
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, AnEndedAttemptPermitsTheNext) {
    const auto station = open("one");
    const auto other = open("two");
    struct Case {
        const char* serial;
        Outcome::Kind kind;
        const char* reason;
        const char* next;
        int number;
    };
    const Case cases[] = {{"P", Outcome::Kind::proven, "", "alreadyProven", 1},
                          {"F", Outcome::Kind::failed, "bad voltage", "claimed", 2},
                          {"I", Outcome::Kind::interrupted, "power cut", "claimed", 2}};
    for (const Case& row : cases) {
        const ClaimResult first = claimOne(*station, request(row.serial));
        EXPECT_TRUE(finishOne(*station, first.attempt, row.kind, row.reason));
        const ClaimResult next = claimOne(*other, request(row.serial));
        EXPECT_STREQ(name(next.kind), row.next) << row.serial;
        EXPECT_EQ(next.attempt.number, row.number) << row.serial;
    }
    // An IV of a failed attempt stays used.
    const ClaimResult failed = claimOne(*station, request("V", {7}));
    EXPECT_TRUE(finishOne(*station, failed.attempt, Outcome::Kind::failed, "x"));
    EXPECT_STREQ(name(claimOne(*station, request("V", {7})).kind), "ivUsed");
}

TEST_P(LedgerTest, TheFirstEndIsFinal) {
    const auto station = open("one");
    const auto other = open("two");
    const Attempt lost = claimOne(*station, request("A")).attempt;
    const Attempt open = claimOne(*station, request("B")).attempt;
    EXPECT_TRUE(finishOne(*other, lost, Outcome::Kind::interrupted, "given up"));
    // A proof that arrives later isn't final, and nothing of its call is committed.
    const RecordRow line = lineAfter({});
    const std::array outcomes = {proven(open), proven(lost)};
    std::array isFinal = {false, false};
    Fault fault;
    ASSERT_TRUE(station->finish(outcomes, {&line, 1}, isFinal, fault)) << text(fault);
    EXPECT_TRUE(isFinal[0]);
    EXPECT_FALSE(isFinal[1]);
    ledger::Head head;
    ASSERT_TRUE(station->head(head, fault)) << text(fault);
    EXPECT_EQ(head.records, 0);
    QList<Attempt> attempts;
    ASSERT_TRUE(station->openClaims(attempts, fault)) << text(fault);
    ASSERT_EQ(attempts.size(), 1);
    EXPECT_EQ(attempts.at(0).serial, QStringLiteral("B"));
    // Without that outcome, the call is committed.
    ASSERT_TRUE(station->finish({outcomes.data(), 1}, {&line, 1}, {isFinal.data(), 1}, fault)) << text(fault);
    ASSERT_TRUE(station->head(head, fault)) << text(fault);
    EXPECT_EQ(head.records, 1);
    EXPECT_EQ(head.claims, 2);
    EXPECT_EQ(head.hash, line.hash);
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, FinishIsAllOrNothing) {
    const auto station = open("one");
    const Attempt attempt = claimOne(*station, request("A")).attempt;
    const RecordRow first = lineAfter({});
    RecordRow wrongHash = first;
    wrongHash.hash[0] = static_cast<char>(~wrongHash.hash.at(0));
    RecordRow twoLines = first;
    twoLines.line += '\n';
    Outcome provenWithReason = proven(attempt);
    provenWithReason.reason = QStringLiteral("why");
    Outcome shortDigest = proven(attempt);
    shortDigest.steps[0].output.chop(1);
    struct Case {
        std::vector<Outcome> outcomes;
        std::vector<RecordRow> lines;
        const char* fault;
    };
    const Case cases[] = {
        {{proven(attempt)}, {lineAfter(first)}, "failed: line 2 of the record doesn't continue it; the next line is 1"},
        {{proven(attempt)}, {first, first}, "failed: line 1 of the record doesn't continue it; the next line is 2"},
        {{proven(attempt)}, {wrongHash}, "failed: line 1 of the record doesn't have its hash"},
        {{proven(attempt)}, {twoLines}, "failed: line 1 of the record doesn't have its hash"},
        {{proven(attempt), proven(attempt)}, {first}, "failed: attempt 1 of meter, A ends twice in one call"},
        {{proven(attempt), proven({QStringLiteral("meter"), QStringLiteral("B"), 1})},
         {first},
         "failed: attempt 1 of meter, B was never claimed"},
        {{proven({QStringLiteral("meter"), QStringLiteral("A"), 2})},
         {first},
         "failed: attempt 2 of meter, A was never claimed"},
        {{provenWithReason}, {first}, "failed: attempt 1 of meter, A is proven, but has a reason"},
        {{shortDigest},
         {first},
         "failed: attempt 1 of meter, A, step install-image: the digest isn't of 32 bytes, or a number is negative"},
    };
    for (const Case& row : cases) {
        std::array isFinal = {false, false};
        Fault fault;
        EXPECT_FALSE(station->finish(row.outcomes, row.lines, {isFinal.data(), row.outcomes.size()}, fault))
            << row.fault;
        EXPECT_EQ(text(fault), row.fault);
        QList<Attempt> attempts;
        ASSERT_TRUE(station->openClaims(attempts, fault));
        EXPECT_EQ(attempts.size(), 1) << row.fault;
    }
    const Outcome good = proven(attempt);
    bool isFinal = false;
    Fault fault;
    EXPECT_TRUE(station->finish({&good, 1}, {&first, 1}, {&isFinal, 1}, fault)) << text(fault);
    EXPECT_TRUE(isFinal);
    EXPECT_EQ(sql("SELECT count(*) FROM step"), "2\n");
}

TEST_P(LedgerTest, RecallsProvenAndOpenAttempts) {
    const auto station = open("one");
    const auto other = open("two");
    const Attempt made = claimOne(*station, request("A")).attempt;
    EXPECT_TRUE(finishOne(*station, made, Outcome::Kind::proven));
    (void)claimOne(*station, request("B"));
    const Attempt failed = claimOne(*station, request("C")).attempt;
    EXPECT_TRUE(finishOne(*station, failed, Outcome::Kind::failed, "x"));
    struct Case {
        const char* serial;
        const char* fault;
    };
    const Case cases[] = {{"A", ""},
                          {"A", "failed: attempt 1 of meter, A has ended already (recalled)"},
                          {"B", ""},
                          {"B", "failed: attempt 1 of meter, B has ended already (recalled)"},
                          {"C", "failed: attempt 1 of meter, C has ended already (failed)"},
                          {"D", "failed: meter, D isn't in the ledger"}};
    RecordRow line;
    for (const Case& row : cases) {
        const RecordRow next = lineAfter(line);
        Attempt recalled;
        Fault fault;
        const bool isGood = other->recall(QStringLiteral("meter"), QString::fromUtf8(row.serial),
                                          QStringLiteral("scratched"), {&next, 1}, recalled, fault);
        EXPECT_EQ(isGood ? "" : text(fault), row.fault) << row.serial;
        EXPECT_EQ(recalled.number, isGood ? 1 : 0) << row.serial;
        line = isGood ? next : line;
    }
    EXPECT_EQ(claimOne(*station, request("A")).attempt.number, 2);
    EXPECT_EQ(claimOne(*other, request("B")).attempt.number, 2);
    ledger::Head head;
    Fault fault;
    ASSERT_TRUE(other->head(head, fault));
    EXPECT_EQ(head.records, 2);
    EXPECT_EQ(findings(*station), "");
}

// Lets two threads begin each round at the same time.
class Rounds {
  public:
    void begin(int round) {
        ++arrived_;
        while (arrived_ < 2 * (round + 1)) {
            QThread::yieldCurrentThread();
        }
    }

  private:
    std::atomic<int> arrived_ = 0;
};

TEST_P(LedgerTest, OneOfTwoStationsGetsEachDeviceAndIv) {
    constexpr int rounds = 40;
    constexpr int batch = 10;
    std::array<std::array<std::vector<ClaimResult>, rounds>, 2> results;
    Rounds both;
    const auto race = [&](std::size_t me) {
        const auto station = open(me == 0 ? "left" : "right");
        for (int round = 0; round < rounds; ++round) {
            std::vector<ClaimRequest> requests;
            for (int i = 0; i < batch; ++i) {
                // In one round the stations compete for devices, in the next for IVs. One station takes a batch in
                // rising order, the other in falling order.
                const int device = round * batch + (me == 0 ? i : batch - 1 - i);
                const bool sharesIv = round % 2 == 1;
                const QByteArray serial = QByteArray::number(device) + (sharesIv ? (me == 0 ? "-left" : "-right") : "");
                requests.push_back(
                    request(serial.constData(), {sharesIv ? device : 10000 + device + 5000 * static_cast<int>(me)}));
            }
            both.begin(round);
            std::vector<ClaimResult> claimed = claimAll(*station, requests);
            if (me == 1) {
                std::reverse(claimed.begin(), claimed.end());
            }
            results[me][static_cast<std::size_t>(round)] = claimed;
        }
    };
    const std::unique_ptr<QThread> thread(QThread::create(race, std::size_t{1}));
    thread->start();
    race(0);
    thread->wait();
    for (std::size_t device = 0; device < rounds * batch; ++device) {
        const std::size_t round = device / batch;
        const std::array pair = {results[0][round][device % batch], results[1][round][device % batch]};
        const std::size_t winner = pair[0].kind == ClaimResult::Kind::claimed ? 0 : 1;
        const ClaimResult& loser = pair[1 - winner];
        EXPECT_STREQ(name(pair[winner].kind), "claimed") << device;
        EXPECT_STREQ(name(loser.kind), round % 2 == 1 ? "ivUsed" : "heldByOther") << device;
        if (round % 2 == 0) {
            EXPECT_EQ(loser.station, winner == 0 ? QStringLiteral("left") : QStringLiteral("right")) << device;
        }
    }
    EXPECT_EQ(sql("SELECT count(*) FROM iv"), "400\n");
    EXPECT_EQ(findings(*open("third")), "");
}

TEST_P(LedgerTest, OneOfTwoStationsEndsEachAttempt) {
    constexpr int rounds = 40;
    constexpr std::size_t batch = 4;
    std::vector<ClaimRequest> requests;
    for (std::size_t i = 0; i < rounds * batch; ++i) {
        requests.push_back(request(QByteArray::number(static_cast<qulonglong>(i)).constData()));
    }
    const std::vector<ClaimResult> claimed = claimAll(*open("maker"), requests);
    Rounds both;
    std::array<std::array<int, rounds>, 2> finals{};
    const auto race = [&](std::size_t me) {
        const auto station = open(me == 0 ? "left" : "right");
        for (std::size_t round = 0; round < rounds; ++round) {
            std::vector<Outcome> outcomes;
            for (std::size_t i = 0; i < batch; ++i) {
                const std::size_t at = round * batch + (me == 0 ? i : batch - 1 - i);
                outcomes.push_back({claimed[at].attempt, Outcome::Kind::failed, QStringLiteral("x"), {}});
            }
            std::array<bool, batch> isFinal{};
            Fault fault;
            both.begin(static_cast<int>(round));
            EXPECT_TRUE(station->finish(outcomes, {}, isFinal, fault)) << text(fault);
            finals[me][round] = static_cast<int>(std::count(isFinal.begin(), isFinal.end(), true));
        }
    };
    const std::unique_ptr<QThread> thread(QThread::create(race, std::size_t{1}));
    thread->start();
    race(0);
    thread->wait();
    for (std::size_t round = 0; round < rounds; ++round) {
        EXPECT_EQ(finals[0][round] + finals[1][round], static_cast<int>(batch)) << round;
        EXPECT_EQ(finals[0][round] * finals[1][round], 0) << round;
    }
    EXPECT_EQ(findings(*open("third")), "");
}

TEST_P(LedgerTest, LeasesBlocksThatFollowEachOther) {
    const auto station = open("one");
    const auto other = open("two");
    ledger::Lease first;
    ledger::Lease second;
    Fault fault;
    ASSERT_TRUE(station->lease(1024, first, fault)) << text(fault);
    ASSERT_TRUE(other->lease(1, second, fault)) << text(fault);
    EXPECT_EQ(first.first, 0U);
    EXPECT_EQ(first.count, 1024U);
    EXPECT_EQ(first.epoch.size(), 8);
    EXPECT_EQ(second.first, 1024U);
    EXPECT_EQ(second.epoch, first.epoch);
    ASSERT_TRUE(station->lease(0xFFFFFFFF - 1024, first, fault)) << text(fault);
    EXPECT_EQ(first.first, 1025U);
    ledger::Lease untouched{"untouched", 5, 6};
    EXPECT_FALSE(station->lease(1, untouched, fault));
    EXPECT_EQ(text(fault), "failed: epoch 1 has no 1 nonces left; begin a new one with \"ledger new-epoch\"");
    EXPECT_EQ(untouched.epoch, "untouched");
    EXPECT_FALSE(station->lease(0, untouched, fault));
    EXPECT_EQ(text(fault), "failed: a lease of no nonces was asked for");

    const RecordRow line = lineAfter({});
    const QByteArray epoch = "epoch-2.";
    ASSERT_TRUE(station->newEpoch(epoch, second.epoch, {&line, 1}, fault)) << text(fault);
    ASSERT_TRUE(other->lease(16, second, fault)) << text(fault);
    EXPECT_EQ(second.epoch, epoch);
    EXPECT_EQ(second.first, 0U);
    ASSERT_TRUE(station->newEpoch("epoch-3.", epoch, {}, fault)) << text(fault);
    for (const auto& [id, isOlder] : {std::pair(first.epoch, true), {epoch, true}, {QByteArray("epoch-3."), false}}) {
        bool isReplaced = !isOlder;
        ASSERT_TRUE(other->isReplaced(id, isReplaced, fault)) << text(fault);
        EXPECT_EQ(isReplaced, isOlder) << id.constData();
    }
    EXPECT_FALSE(station->newEpoch("seven77", epoch, {}, fault));
    EXPECT_EQ(text(fault), "failed: an epoch has 7 bytes; expected are 8");
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, StationsThatLeaseAtOnceGetDifferentBlocks) {
    std::array<std::vector<ledger::Lease>, 2> leases;
    const auto race = [&](std::size_t me) {
        const auto station = open(me == 0 ? "left" : "right");
        for (int i = 0; i < 40; ++i) {
            ledger::Lease lease;
            Fault fault;
            EXPECT_TRUE(station->lease(8, lease, fault)) << text(fault);
            leases[me].push_back(lease);
        }
    };
    const std::unique_ptr<QThread> thread(QThread::create(race, std::size_t{1}));
    thread->start();
    race(0);
    thread->wait();
    std::set<std::uint64_t> firsts;
    for (const auto& list : leases) {
        for (const ledger::Lease& lease : list) {
            firsts.insert(lease.first);
        }
    }
    EXPECT_EQ(firsts.size(), 80U);
    EXPECT_EQ(*firsts.rbegin(), 79U * 8);
}

TEST_P(LedgerTest, RetiredKeysGetNoClaims) {
    const auto station = open("one");
    Fault fault;
    ASSERT_TRUE(station->addKey(fingerprint(0), QStringLiteral("image key"), QStringLiteral("file"), fault))
        << text(fault);
    ASSERT_TRUE(station->addKey(fingerprint(0), QStringLiteral("other label"), {}, fault)) << text(fault);
    EXPECT_STREQ(name(claimOne(*station, request("A", {1})).kind), "claimed");
    const RecordRow line = lineAfter({});
    ASSERT_TRUE(station->retireKey(fingerprint(0), {&line, 1}, fault)) << text(fault);
    const ClaimResult result = claimOne(*station, request("B", {2}));
    EXPECT_STREQ(name(result.kind), "keyRetired");
    EXPECT_EQ(result.iv, 0);
    const RecordRow next = lineAfter(line);
    EXPECT_FALSE(station->retireKey(fingerprint(0), {&next, 1}, fault));
    EXPECT_EQ(text(fault), "failed: the key " + fingerprint(0).toHex().toStdString() + " is retired already");
    EXPECT_FALSE(station->retireKey(fingerprint(1), {&next, 1}, fault));
    EXPECT_EQ(text(fault), "failed: the key " + fingerprint(1).toHex().toStdString() + " isn't in the ledger");
    EXPECT_FALSE(station->retireKey("short", {}, fault));
    EXPECT_EQ(text(fault), "failed: the fingerprint of a key has 5 bytes; expected are 32");
    ledger::Head head;
    ASSERT_TRUE(station->head(head, fault));
    EXPECT_EQ(head.records, 1);
}

TEST_P(LedgerTest, ImportedIvsAreUsed) {
    const auto station = open("one");
    EXPECT_STREQ(name(claimOne(*station, request("A", {1})).kind), "claimed");
    std::vector<ledger::IvUse> ivs;
    for (int i = 0; i < 5000; ++i) {  // more than one batch
        ivs.push_back({fingerprint(0), part(i)});
    }
    ivs.push_back(ivs.front());
    qint64 added = -1;
    Fault fault;
    const RecordRow line = lineAfter({});
    ASSERT_TRUE(station->importIvs(ivs, QStringLiteral("old images"), {&line, 1}, added, fault)) << text(fault);
    EXPECT_EQ(added, 4999);
    EXPECT_STREQ(name(claimOne(*station, request("B", {4999})).kind), "ivUsed");
    EXPECT_STREQ(name(claimOne(*station, request("B", {5000})).kind), "claimed");
    ivs.resize(1);
    ivs[0].part.chop(1);
    EXPECT_FALSE(station->importIvs(ivs, QStringLiteral("x"), {}, added, fault));
    EXPECT_EQ(text(fault), "failed: an IV has a part of 7 bytes; expected are 8 or 16");
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, ReturnsTheRecordLineByLine) {
    const auto station = open("one");
    const auto other = open("two");
    std::vector<RecordRow> lines;
    for (int i = 0; i < 5; ++i) {
        // Text that needs care in both databases.
        lines.push_back(lineAfter(lines.empty() ? RecordRow() : lines.back(), R"(q'\\{},\\x00 “€𝄞”)"));
    }
    Fault fault;
    ASSERT_TRUE(station->finish({}, lines, {}, fault)) << text(fault);
    QList<RecordRow> read;
    ASSERT_TRUE(station->recordAfter(1, 3, read, fault)) << text(fault);
    ASSERT_EQ(read.size(), 3);
    for (qsizetype i = 0; i < read.size(); ++i) {
        EXPECT_EQ(read.at(i).number, i + 2);
        EXPECT_EQ(read.at(i).line, lines[static_cast<std::size_t>(i) + 1].line);
        EXPECT_EQ(read.at(i).hash, lines[static_cast<std::size_t>(i) + 1].hash);
    }
    ASSERT_TRUE(other->recordAfter(0, 100, read, fault)) << text(fault);
    EXPECT_EQ(read.size(), 0);
}

TEST_P(LedgerTest, RefusesNamesThatCouldChange) {
    const auto station = open("one");
    struct Case {
        QString product;
        QString serial;
        const char* fault;
    };
    const Case cases[] = {
        {{}, QStringLiteral("s"), "failed: the product is empty"},
        {QStringLiteral("p"), {}, "failed: the serial is empty"},
        {QStringLiteral("p"), QString(201, u'x'), "failed: the serial has 201 characters; at most 200 are allowed"},
        {QStringLiteral("p"), QStringLiteral("a\nb"), "failed: the serial contains a control character"},
        {QStringLiteral("p"), QString(QChar(u'\0')), "failed: the serial contains a control character"},
        {QString(QChar(0xD800)), QStringLiteral("s"), "failed: the product isn't valid Unicode"},
    };
    for (const Case& row : cases) {
        const ClaimRequest request{row.product, row.serial, {}};
        ClaimResult result;
        Fault fault;
        EXPECT_FALSE(station->claim({&request, 1}, {&result, 1}, fault)) << row.fault;
        EXPECT_EQ(text(fault), row.fault);
    }
    // Names that only look dangerous are kept as they are.
    for (const char* const serial :
         {"'; DROP TABLE claim; --", "{\"a\",NULL}", "NULL", "\\", "\"", "%1 ? :a $1", "é", " x "}) {
        const ClaimResult result = claimOne(*station, request(serial));
        EXPECT_STREQ(name(result.kind), "claimed") << serial;
    }
    QList<Attempt> attempts;
    Fault fault;
    ASSERT_TRUE(station->openClaims(attempts, fault));
    ASSERT_EQ(attempts.size(), 8);
    EXPECT_EQ(attempts.at(1).serial, QStringLiteral("{\"a\",NULL}"));
    EXPECT_EQ(attempts.at(7).serial, QStringLiteral(" x "));
    const Attempt attempt = attempts.at(0);
    EXPECT_TRUE(finishOne(*station, attempt, Outcome::Kind::failed, "it's \"bad\" \\ {} \x01"));
}

TEST_P(LedgerTest, ReadOnlyWritesNothing) {
    (void)claimOne(*open("one"), request("A"));
    const auto reader = open("", Ledger::Access::readOnly);
    Fault fault;
    ledger::Lease lease;
    EXPECT_FALSE(reader->lease(1, lease, fault));
    EXPECT_EQ(text(fault), "refused: the ledger was opened for reading only");
    EXPECT_EQ(findings(*reader), "");
    // Two readers and a station at once.
    const auto second = open("one", Ledger::Access::readOnly);
    const auto station = open("one");
    QList<Attempt> attempts;
    ASSERT_TRUE(second->openClaims(attempts, fault)) << text(fault);
    EXPECT_EQ(attempts.size(), 1);
}

TEST_P(LedgerTest, AStationIsUsedOnceAtATime) {
    auto station = open("one");
    Ledger second;
    Fault fault;
    EXPECT_FALSE(second.open(place, Ledger::Access::station, QStringLiteral("one"), fault));
    EXPECT_EQ(text(fault), "refused: the station one is in use by another process");
    const auto other = open("two");
    station.reset();
    station = open("one");
    EXPECT_STREQ(name(claimOne(*station, request("A")).kind), "claimed");
    Ledger third;
    EXPECT_FALSE(third.open(place, Ledger::Access::station, QStringLiteral("a\tb"), fault));
    EXPECT_EQ(text(fault), "failed: the station contains a control character");
}

TEST_P(LedgerTest, FindsOpenClaimsAfterManyEndedOnes) {
    auto station = open("one");
    for (int round = 0; round < 3; ++round) {
        std::vector<ClaimRequest> requests;
        for (int i = 0; i < 600; ++i) {
            requests.push_back(request(QByteArray::number(round * 1000 + i).constData()));
        }
        std::vector<Outcome> outcomes;
        for (const ClaimResult& result : claimAll(*station, requests)) {
            outcomes.push_back({result.attempt, Outcome::Kind::proven, {}, {}});
        }
        // The last device of each round stays open.
        outcomes.pop_back();
        const auto isFinal = std::make_unique<bool[]>(outcomes.size());
        Fault fault;
        ASSERT_TRUE(station->finish(outcomes, {}, {isFinal.get(), outcomes.size()}, fault)) << text(fault);
        QList<Attempt> attempts;
        ASSERT_TRUE(station->openClaims(attempts, fault)) << text(fault);
        EXPECT_EQ(attempts.size(), round < 2 ? round + 1 : 2) << round;
        if (round == 1) {
            EXPECT_TRUE(finishOne(*station, attempts.at(0), Outcome::Kind::interrupted, "x"));
        }
    }
    EXPECT_EQ(sql("SELECT max(number) FROM settled"), "1199\n");
    EXPECT_EQ(findings(*station), "");
}

TEST_P(LedgerTest, RefusesChangesOfEveryTable) {
    {
        const auto station = open("one");
        Fault fault;
        ledger::Lease lease;
        qint64 added = 0;
        QByteArray epoch;
        const ledger::IvUse iv{fingerprint(0), part(99)};
        ASSERT_TRUE(station->lease(1, lease, fault) &&
                    station->addKey(fingerprint(0), QStringLiteral("k"), QStringLiteral("f"), fault) &&
                    station->importIvs({&iv, 1}, QStringLiteral("x"), {}, added, fault) &&
                    station->retireKey(fingerprint(0), {}, fault))
            << text(fault);
        const Attempt attempt = claimOne(*station, request("A")).attempt;
        const Outcome outcome = proven(attempt);
        const RecordRow line = lineAfter({});
        bool isFinal = false;
        ASSERT_TRUE(station->finish({&outcome, 1}, {&line, 1}, {&isFinal, 1}, fault)) << text(fault);
        Attempt recalled;
        ASSERT_TRUE(station->recall(attempt.product, attempt.serial, QStringLiteral("x"), {}, recalled, fault));
    }
    sql("INSERT INTO settled VALUES ('one', 1)");
    struct Case {
        const char* table;
        const char* column;
    };
    const Case tables[] = {{"station", "at_ms"}, {"call", "at_ms"},     {"epoch", "at_ms"},   {"lease", "at_ms"},
                           {"claim", "at_ms"},   {"outcome", "reason"}, {"recall", "reason"}, {"step", "size"},
                           {"import", "origin"}, {"iv", "part"},        {"key", "label"},     {"key_state", "state"},
                           {"record", "line"},   {"settled", "number"}};
    QByteArrayList known;
    for (const Case& row : tables) {
        const QByteArray table = row.table;
        known += table;
        EXPECT_NE(sql("SELECT count(*) FROM " + table), "0\n") << row.table;
        for (const QByteArray& change :
             {"UPDATE " + table + " SET " + row.column + " = " + row.column, "DELETE FROM " + table}) {
            EXPECT_TRUE(sql(change).contains("the ledger is append-only"))
                << change.constData() << sql(change).constData();
            if (!isSqlite()) {
                const QByteArray denied = PostgresServer::instance().psql(database, QStringLiteral("ledger_station"),
                                                                          change.split(' ').at(0) == "UPDATE"
                                                                              ? "UPDATE ledger." + change.mid(7)
                                                                              : "DELETE FROM ledger." + table);
                EXPECT_TRUE(denied.contains("permission denied for table " + table)) << denied.constData();
            }
        }
    }
    // Checks that the list above has all tables.
    std::sort(known.begin(), known.end());
    const QByteArray listed =
        isSqlite()
            ? sql("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")
            : sql("SELECT tablename FROM pg_tables WHERE schemaname = 'ledger' AND tablename <> 'schema_version' "
                  "ORDER BY tablename");
    EXPECT_EQ(listed, known.join('\n') + '\n');
}

TEST_P(LedgerTest, TheDatabaseItselfKeepsTheRules) {
    {
        const auto station = open("one");
        const Attempt attempt = claimOne(*station, request("A", {1})).attempt;
        EXPECT_TRUE(finishOne(*station, attempt, Outcome::Kind::failed, "x"));
    }
    // Each statement breaks one rule of the schema, and would succeed without that rule.
    const QByteArray firstCall = "(SELECT id FROM call LIMIT 1)";
    const QByteArray key = "(SELECT fingerprint FROM iv LIMIT 1)";
    const QByteArray zeros32 = isSqlite() ? "zeroblob(32)" : "decode(repeat('00', 32), 'hex')";
    const QByteArray eight = isSqlite() ? "zeroblob(8)" : "decode(repeat('00', 8), 'hex')";
    const QByteArray rows[] = {
        "INSERT INTO claim VALUES ('meter', 'A', 1, 'one', 9, " + firstCall + ", 1)",
        "INSERT INTO claim VALUES ('meter', 'B', 1, 'one', 1, " + firstCall + ", 1)",
        "INSERT INTO claim VALUES ('meter', 'B', 0, 'one', 9, " + firstCall + ", 1)",
        "INSERT INTO claim VALUES ('meter', 'B', 1, 'none', 9, " + firstCall + ", 1)",
        "INSERT INTO claim VALUES ('', 'B', 1, 'one', 9, " + firstCall + ", 1)",
        "INSERT INTO claim VALUES ('meter', 'B', 'x', 'one', 9, " + firstCall + ", 1)",
        "INSERT INTO outcome VALUES ('meter', 'A', 1, 'proven', '', 'one', " + firstCall + ", 1)",
        "INSERT INTO outcome VALUES ('meter', 'Z', 1, 'proven', '', 'one', " + firstCall + ", 1)",
        "INSERT INTO recall VALUES ('meter', 'Z', 1, '', 'one', " + firstCall + ", 1)",
        "INSERT INTO step VALUES ('meter', 'Z', 1, 1, 's', NULL, 0, 0)",
        "INSERT INTO step VALUES ('meter', 'A', 1, 1, 's', " + eight + ", 0, 0)",
        "INSERT INTO step VALUES ('meter', 'A', 1, 1, 's', NULL, -1, 0)",
        "INSERT INTO iv SELECT fingerprint, part, product, serial, attempt, NULL FROM iv",
        "INSERT INTO iv VALUES (" + key + ", " + eight + ", 'meter', 'Z', 1, NULL)",
        "INSERT INTO iv VALUES (" + key + ", " + eight + ", NULL, NULL, NULL, NULL)",
        "INSERT INTO iv VALUES (" + key + ", " + eight + ", 'meter', NULL, 1, NULL)",
        "INSERT INTO iv VALUES (" + eight + ", " + eight + ", 'meter', 'A', 1, NULL)",
        "INSERT INTO iv VALUES (" + key + ", " + zeros32 + ", 'meter', 'A', 1, NULL)",
        "INSERT INTO key_state VALUES (" + key + ", 'retired', 'one', " + firstCall + ", 1)",
        "INSERT INTO lease VALUES (1, 1, 4294967296, 1, 'one', " + firstCall + ", 1)",
        "INSERT INTO lease VALUES (2, 1, 0, 1, 'one', " + firstCall + ", 1)",
        "INSERT INTO record VALUES ('one', 0, " + zeros32 + ", 'x', 0, " + firstCall + ", 1)",
        "INSERT INTO record VALUES ('one', 1, " + eight + ", 'x', 0, " + firstCall + ", 1)",
        "INSERT INTO epoch VALUES (1, " + eight + ", NULL, NULL, 1)",
    };
    for (const QByteArray& row : rows) {
        const QByteArray output = sql(row).toLower();
        EXPECT_TRUE(output.contains("constraint") || output.contains("cannot store") ||
                    output.contains("invalid input"))
            << row.constData() << '\n'
            << output.constData();
    }
    EXPECT_FALSE(
        sql("INSERT INTO iv VALUES (" + key + ", " + eight + ", 'meter', 'A', 1, NULL)").toLower().contains("err"));
    EXPECT_EQ(findings(*open("one")), "");
}

TEST_P(LedgerTest, CheckFindsBrokenRules) {
    {
        const auto station = open("one");
        Fault fault;
        ledger::Lease lease;
        ASSERT_TRUE(station->lease(8, lease, fault));
        const Attempt attempt = claimOne(*station, request("A")).attempt;
        EXPECT_TRUE(finishOne(*station, attempt, Outcome::Kind::proven));
        (void)claimOne(*station, request("B"));
        const RecordRow line = lineAfter({});
        ASSERT_TRUE(station->finish({}, {&line, 1}, {}, fault)) << text(fault);
    }
    const QByteArray call = "(SELECT call FROM claim WHERE serial = 'A' AND attempt = 1)";
    const QByteArray other = "(SELECT call FROM claim WHERE serial = 'B')";
    const QByteArray hash = isSqlite() ? "zeroblob(32)" : "decode(repeat('00', 32), 'hex')";
    // Rows that the tables permit, but that no call of this room writes.
    const QByteArray rows[] = {
        "INSERT INTO claim VALUES ('meter', 'A', 2, 'one', 7, " + call + ", 1)",
        "INSERT INTO claim VALUES ('meter', '%2', 3, 'one', 8, " + call + ", 1)",
        "INSERT INTO lease VALUES (1, 2, 4, 8, 'one', " + call + ", 1)",
        "INSERT INTO record VALUES ('one', 3, " + hash + ", 'x', 0, " + call + ", 1)",
        "INSERT INTO settled VALUES ('one', 2)",
        "INSERT INTO outcome VALUES ('meter', '%2', 3, 'failed', '', 'one', " + call + ", 1)",
        "INSERT INTO recall VALUES ('meter', '%2', 3, '', 'one', " + other + ", 1)",
    };
    for (const QByteArray& row : rows) {
        const QByteArray output = sql(row);
        EXPECT_FALSE(output.toLower().contains("err")) << output.constData();
    }
    EXPECT_EQ(findings(*open("one", Ledger::Access::readOnly)),
              "meter, %2: attempt 3 has no attempt before it.\n"
              "meter, %2: attempt 3 began although the attempt before it was open or proven.\n"
              "meter, A: attempt 2 began although the attempt before it was open or proven.\n"
              "meter, %2: attempt 3 was recalled, but it isn't proven.\n"
              "Station one has 4 claims, but the last one has the number 8.\n"
              "Station one counts its claims up to 2 as ended, but meter, B is open.\n"
              "Epoch 1: block 2 of nonces doesn't begin where the block before it ends.\n"
              "Station one: line 2 of the record is missing.\n"
              "Station one: line 3 of the record doesn't have its hash.\n"
              "Station one: line 3 of the record isn't chained to the line before it.");
}

TEST_P(LedgerTest, SummarizesEverything) {
    const auto station = open("one");
    const auto idle = open("two");
    Fault fault;
    ledger::Summary summary;
    ASSERT_TRUE(station->summary(summary, fault)) << text(fault);
    EXPECT_EQ(summary.products.size(), 0);
    EXPECT_EQ(summary.outcomes.size(), 0);
    EXPECT_EQ(summary.stations.size(), 2);

    ASSERT_TRUE(station->addKey(fingerprint(0), QStringLiteral("image key"), QStringLiteral("token"), fault));
    ASSERT_TRUE(station->addKey(fingerprint(5), QStringLiteral("spare"), {}, fault));
    ASSERT_TRUE(station->retireKey(fingerprint(5), {}, fault));
    ledger::Lease lease;
    ASSERT_TRUE(station->lease(8, lease, fault) && station->lease(8, lease, fault));
    const auto make = [&](const char* serial, Outcome::Kind kind, const char* reason) {
        EXPECT_TRUE(finishOne(*station, claimOne(*station, request(serial)).attempt, kind, reason)) << serial;
    };
    make("A", Outcome::Kind::failed, "first");
    make("A", Outcome::Kind::failed, "second");
    QThread::msleep(5);
    make("A", Outcome::Kind::proven, "");
    make("B", Outcome::Kind::failed, "third");
    make("C", Outcome::Kind::interrupted, "power");
    make("D", Outcome::Kind::proven, "");
    Attempt recalled;
    ASSERT_TRUE(
        station->recall(QStringLiteral("meter"), QStringLiteral("D"), QStringLiteral("x"), {}, recalled, fault));
    (void)claimOne(*station, request("E", {1, 2, 3}));
    (void)claimOne(*station, request("F"));
    ASSERT_TRUE(
        station->recall(QStringLiteral("meter"), QStringLiteral("F"), QStringLiteral("x"), {}, recalled, fault));
    (void)claimOne(*station, {QStringLiteral("lamp"), QStringLiteral("E"), {{fingerprint(9), part(1)}}});
    std::vector<RecordRow> lines = {lineAfter({})};
    lines.push_back(lineAfter(lines.back(), "checkpoint"));
    lines.push_back(lineAfter(lines.back(), "x\\\"kind\\\":\\\"checkpoint"));
    ASSERT_TRUE(station->finish({}, lines, {}, fault)) << text(fault);

    ASSERT_TRUE(station->summary(summary, fault)) << text(fault);
    ASSERT_EQ(summary.products.size(), 2);
    EXPECT_EQ(summary.products.at(0).name, QStringLiteral("lamp"));
    EXPECT_EQ(summary.products.at(0).open, 1);
    const ledger::Summary::Product& meter = summary.products.at(1);
    EXPECT_EQ(meter.proven, 1);
    EXPECT_EQ(meter.failed, 3);
    EXPECT_EQ(meter.interrupted, 1);
    EXPECT_EQ(meter.open, 1);
    EXPECT_EQ(meter.recalled, 2);
    ASSERT_EQ(summary.troubles.size(), 2);
    EXPECT_EQ(summary.troubleCount, 2);
    EXPECT_EQ(summary.troubles.at(0).serial, QStringLiteral("B"));
    EXPECT_EQ(summary.troubles.at(1).reason, QStringLiteral("second"));
    EXPECT_EQ(summary.troubles.at(1).failures, 2);
    std::array<qint64, 4> totals = {0, 0, 0, 0};
    EXPECT_LE(summary.outcomes.size(), ledger::Summary::buckets);
    EXPECT_GT(summary.outcomes.size(), 1);
    for (const ledger::Summary::Bucket& bucket : summary.outcomes) {
        totals[0] += bucket.proven;
        totals[1] += bucket.failed;
        totals[2] += bucket.interrupted;
        totals[3] += bucket.recalled;
    }
    EXPECT_EQ(totals, (std::array<qint64, 4>{2, 3, 1, 1}));
    ASSERT_EQ(summary.keys.size(), 3);
    for (const ledger::Summary::Key& key : summary.keys) {
        const bool isUsed = key.fingerprint != fingerprint(5);
        EXPECT_EQ(key.isRetired, !isUsed);
        EXPECT_EQ(key.firstUse > 0, isUsed);
        EXPECT_EQ(key.ivs, key.label == QStringLiteral("image key") ? 3 : isUsed ? 1 : 0);
    }
    ASSERT_EQ(summary.epochs.size(), 1);
    EXPECT_EQ(summary.epochs.at(0).id, lease.epoch);
    ASSERT_EQ(summary.stations.size(), 2);
    const ledger::Summary::Station& one = summary.stations.at(0);
    EXPECT_EQ(one.name, QStringLiteral("one"));
    EXPECT_EQ(one.claims, 9);
    EXPECT_EQ(one.leases, 2);
    EXPECT_EQ(one.records, 3);
    EXPECT_GT(one.recordTime, 0);
    EXPECT_EQ(one.checkpoint, 2);
    EXPECT_EQ(summary.stations.at(1).records, 0);
}

TEST_P(LedgerTest, ANewLedgerTakesNoUsedPlace) {
    Fault fault;
    const QString owned = isSqlite() ? place : PostgresServer::instance().url(database, QStringLiteral("owner"));
    EXPECT_FALSE(Ledger::create(owned, fault));
    EXPECT_EQ(fault.kind, Fault::Kind::failed);
    EXPECT_TRUE(fault.text.contains(QStringLiteral("already"))) << text(fault);
    EXPECT_EQ(findings(*open("one")), "");
}

TEST_P(LedgerTest, RefusesNewerSchemas) {
    sql(isSqlite() ? "PRAGMA user_version = 999" : "INSERT INTO schema_version VALUES (999, 'production ledger')");
    Ledger opened;
    Fault fault;
    for (const Ledger::Access access : {Ledger::Access::readOnly, Ledger::Access::station}) {
        EXPECT_FALSE(opened.open(place, access, QStringLiteral("one"), fault));
        EXPECT_EQ(fault.kind, Fault::Kind::refused);
        EXPECT_TRUE(
            fault.text.endsWith(QStringLiteral("has the schema version 999; this program knows versions up to 1")))
            << text(fault);
    }
}

}  // namespace
