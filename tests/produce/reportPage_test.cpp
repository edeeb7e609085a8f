#include "produce/reportPage.h"

#include "ledger/Summary.h"
#include "tests/support/outsideTool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace produce {

namespace {

using ledger::Summary;

constexpr qint64 someTime = 1790000000000;

/// The lines of checkReport.py on the page. Its faults fail the test.
QByteArrayList contentOf(const Summary& summary, const QString& name = QStringLiteral("line.ledger")) {
    const TempFolder folder;
    const QString path = folder.write("page.html", reportPage(summary, {name, someTime}));
    const QByteArrayList lines =
        outsideTool(QStringLiteral("python3"), {QStringLiteral(QVORA_CHECK_REPORT), path}).split('\n');
    for (const QByteArray& line : lines) {
        EXPECT_FALSE(line.startsWith("fault: ")) << line.constData();
    }
    return lines;
}

QByteArrayList linesThatBegin(const QByteArrayList& lines, const char* start) {
    QByteArrayList found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [start](const QByteArray& line) { return line.startsWith(start); });
    return found;
}

Summary::Bucket bucket(qint64 start, qint64 proven, qint64 failed = 0, qint64 interrupted = 0, qint64 recalled = 0) {
    return {start, proven, failed, interrupted, recalled};
}

TEST(ReportPage, ShowsEveryTextOfTheLedgerAsItIs) {
    const struct {
        const char16_t* text;
        const char* shown;
    } rows[] = {
        {u"A-0001", "A-0001"},
        {u"<script>alert(1)</script>", "<script>alert(1)</script>"},
        {u"\"><img src=x onerror='alert(1)'>", "\"><img src=x onerror='alert(1)'>"},
        {u"</bdi></td></tr></table></style>", "</bdi></td></tr></table></style>"},
        {u"<!-- & &amp; &lt; &#60; ]]> -->", "<!-- & &amp; &lt; &#60; ]]> -->"},
        {u"%1 %2 %3 %99", "%1 %2 %3 %99"},
        {u"line\nbreak\ttab\u0007\u009B", "line\\u{a}break\\u{9}tab\\u{7}\\u{9b}"},
        {u"\u202Egnp.exe\u2066", "\\u{202e}gnp.exe\\u{2066}"},
        {u"Zähler Ω 電力", "Zähler Ω 電力"},
    };
    for (const auto& row : rows) {
        const QString text = QString::fromUtf16(row.text);
        const QByteArray shown = row.shown;
        Summary summary;
        summary.products = {{text, 1, 2, 3, 4, 5}};
        summary.troubles = {{text, text, 2, text, someTime}};
        summary.troubleCount = 1;
        summary.keys = {{QByteArray(32, '\x5A'), text, text, true, 0, 7}};
        summary.stations = {{text, someTime, 1234567, 0, 0, 0, 0}};
        const QByteArrayList lines = contentOf(summary, text);
        for (const QByteArray& wanted :
             {"row " + shown + "|1|2|3|4|5", "row " + shown + '|' + shown + "|2|2026-09-21 14:13:20 UTC|" + shown,
              "row " + shown + "|retired|7|never|" + shown + '|' + QByteArray(64, ' ').replace("  ", "5a"),
              "row " + shown + "|2026-09-21 14:13:20 UTC|1,234,567|0|none|never|none"}) {
            EXPECT_TRUE(lines.contains(wanted)) << wanted.constData() << "\nin\n" << lines.join('\n').constData();
        }
    }
}

TEST(ReportPage, ReportsAnEmptyLedger) {
    const QByteArrayList lines = contentOf(Summary());
    EXPECT_EQ(lines.join('\n').toStdString(), "title Production report\n");
    const QByteArray page = reportPage(Summary(), {QStringLiteral("x"), someTime});
    for (const char* text : {"No attempt has ended yet.", "No device was claimed yet.", "No device has failed.",
                             "No key was used.", "No station has opened this ledger."}) {
        EXPECT_EQ(page.count(text), 1) << text;
    }
}

TEST(ReportPage, DrawsBars) {
    const struct {
        const char* name;
        QList<Summary::Bucket> buckets;
        const char* bars;
    } rows[] = {
        {"one interval", {bucket(someTime, 5)}, "bar-proven 180"},
        {"an interval without an attempt", {bucket(someTime, 0)}, ""},
        {"half of the highest", {bucket(someTime, 50), bucket(someTime + 1, 25)}, "bar-proven 180,bar-proven 90"},
        {"one failure among many stays visible", {bucket(someTime, 99999, 1)}, "bar-proven 180,bar-failed 2"},
        {"three layers, interrupted and recalled in one",
         {bucket(someTime, 20, 15, 10, 5)},
         "bar-proven 72,bar-failed 54,bar-other 54"},
        {"no layer below 0", {bucket(someTime, -5, 10)}, "bar-failed 180"},
        {"beyond every ledger",
         {bucket(someTime, std::numeric_limits<qint64>::max(), 0, std::numeric_limits<qint64>::max(),
                 std::numeric_limits<qint64>::max())},
         "bar-proven 60,bar-other 120"},
    };
    for (const auto& row : rows) {
        Summary summary;
        summary.outcomes = row.buckets;
        summary.bucketLength = 1;
        QByteArrayList bars = linesThatBegin(contentOf(summary), "bar ");
        for (QByteArray& bar : bars) {
            bar = bar.mid(4);
        }
        if (QByteArray(row.name) == "beyond every ledger") {  // its scale is rounded
            EXPECT_EQ(bars.size(), 2);
        } else {
            EXPECT_EQ(bars.join(',').toStdString(), row.bars) << row.name;
        }
    }
}

TEST(ReportPage, LabelsItsAxes) {
    Summary summary;
    summary.bucketLength = 90000;
    for (int i = 0; i < 60; ++i) {
        summary.outcomes += bucket(someTime + i * summary.bucketLength, i == 30 ? 100000 : i, i == 31 ? 7 : 0);
    }
    const QByteArrayList lines = contentOf(summary);
    EXPECT_EQ(linesThatBegin(lines, "text ").join('|').toStdString(),
              "text 0|text 20,000|text 40,000|text 60,000|text 80,000|text 100,000|text 14:13:20|text 2026-09-21|"
              "text 14:58:20|text 2026-09-21|text 15:41:50|text 2026-09-21");
    EXPECT_TRUE(lines.contains("title Devices per 90 s"));
    EXPECT_TRUE(
        lines.contains("desc A bar chart of 60 intervals of 90 s, from 2026-09-21 14:13:20 UTC to 2026-09-21 "
                       "15:41:50 UTC. One interval has at most 100,000 devices and at most 7 failures."));
    EXPECT_TRUE(lines.contains("row 2026-09-21 14:58:20 UTC|100,000|0|0|0"));
}

TEST(ReportPage, CountsFailuresBeyondThoseThatItLists) {
    Summary summary;
    for (int i = 0; i < 1000; ++i) {
        summary.troubles += {QStringLiteral("p"), QString::number(i), 1, QStringLiteral("r"), someTime};
    }
    summary.troubleCount = 54321;
    EXPECT_EQ(linesThatBegin(contentOf(summary), "row ").size(), 1001);
    EXPECT_TRUE(
        reportPage(summary, {}).contains("54,321 devices have failed at least once; these are the latest 1,000<"));
}

TEST(ReportPage, ChoosesRoundSteps) {
    const struct {
        qint64 most;
        qint64 step;
    } rows[] = {{0, 1},     {1, 1},          {5, 1},          {6, 2},          {10, 2},   {11, 5},
                {25, 5},    {26, 10},        {50, 10},        {51, 20},        {100, 20}, {101, 50},
                {251, 100}, {100000, 20000}, {100001, 50000}, {999999, 200000}};
    for (const auto& row : rows) {
        EXPECT_EQ(chartStep(row.most), row.step) << row.most;
    }
    EXPECT_GT(chartStep(std::numeric_limits<qint64>::max()), std::numeric_limits<qint64>::max() / 6);
}

TEST(ReportPage, WritesLengthsOfTime) {
    const struct {
        qint64 milliseconds;
        const char* text;
    } rows[] = {{0, "0 ms"},       {999, "999 ms"},     {1000, "1 s"},         {1500, "1.5 s"},
                {119999, "120 s"}, {120000, "2 min"},   {366000, "6.1 min"},   {7199999, "120 min"},
                {7200000, "2 h"},  {172799999, "48 h"}, {172800000, "2 days"}, {8640000000, "100 days"}};
    for (const auto& row : rows) {
        EXPECT_EQ(lengthText(row.milliseconds).toStdString(), row.text);
    }
}

TEST(ReportPage, WritesTimes) {
    const struct {
        qint64 time;
        const char* iso;
        const char* plain;
    } rows[] = {{0, "", "never"},
                {1, "1970-01-01T00:00:00.001Z", "1970-01-01 00:00:00 UTC"},
                {-1, "", "unknown"},
                {253402300799999, "9999-12-31T23:59:59.999Z", "9999-12-31 23:59:59 UTC"},
                {253402300800000, "", "unknown"},
                {std::numeric_limits<qint64>::max(), "", "unknown"},
                {std::numeric_limits<qint64>::min(), "", "unknown"}};
    for (const auto& row : rows) {
        EXPECT_EQ(isoTime(row.time).toStdString(), row.iso) << row.time;
        EXPECT_EQ(plainTime(row.time).toStdString(), row.plain) << row.time;
    }
}

}  // namespace

}  // namespace produce
