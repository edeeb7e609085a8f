#include "produce/reportPage.h"

#include "display/buildVersion.h"
#include "ledger/Summary.h"
#include "produce/ConsoleListener.h"

#include <QList>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <array>

namespace produce {

namespace {

// Colours are variables, so that the dark look changes nothing else. Every text colour has a contrast of at least 4.5
// with `ground` and with `panel` in both looks; a test computes it. Paper always gets the light look.
constexpr char style[] = R"(
:root { color-scheme: light dark; --ground: #ffffff; --panel: #f2f4f7; --text: #1b1f24; --quiet: #56606e;
  --line: #d3d8df; --proven: #17693a; --failed: #b3261e; --other: #805300; }
@media screen and (prefers-color-scheme: dark) {
  :root { --ground: #15171b; --panel: #1e2126; --text: #e6e9ed; --quiet: #a3adba;
    --line: #363c45; --proven: #7fd8a0; --failed: #ff8f85; --other: #f2c55c; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.5rem; max-width: 72rem; background: var(--ground); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif; font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
h1 { margin: 0; font-size: 1.75rem; line-height: 1.2; }
h2 { margin: 2.5rem 0 .5rem; font-size: 1.25rem; }
p { margin: .5rem 0; }
.quiet, caption { color: var(--quiet); }
.totals { display: grid; grid-template-columns: repeat(auto-fit, minmax(8rem, 1fr)); gap: .75rem; margin: 1.5rem 0; }
.totals div { padding: .75rem 1rem; border-radius: .5rem; background: var(--panel); }
.totals dt { color: var(--quiet); }
.totals dd { margin: 0; font-size: 1.75rem; font-weight: 600; line-height: 1.2; overflow-wrap: normal; }
.totals .proven { color: var(--proven); }
.totals .failed { color: var(--failed); }
table { width: 100%; border-collapse: collapse; }
caption { padding: .25rem 0; text-align: left; }
th, td { padding: .375rem .75rem .375rem 0; border-bottom: 1px solid var(--line); text-align: left;
  vertical-align: top; }
thead th { font-weight: 600; white-space: nowrap; }
tbody th { min-width: 8rem; font-weight: 400; }
.name { min-width: 7rem; }
.number { text-align: right; white-space: nowrap; }
.short, .time { white-space: nowrap; }
code { font-family: ui-monospace, monospace; font-size: .875em; }
figure { margin: 0; }
figcaption { color: var(--quiet); }
.legend { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; margin: .25rem 0 .75rem; padding: 0; list-style: none; }
.legend svg { width: .75rem; height: .75rem; margin-right: .375rem; }
.chart { display: block; width: calc(100% - 4.5rem); height: 15rem; margin-left: 4rem; overflow: visible; }
.chart text { fill: var(--quiet); font-size: .8125rem; }
.grid { stroke: var(--line); }
.bar-proven { fill: var(--proven); }
.bar-failed { fill: var(--failed); }
.bar-other { fill: var(--other); }
details { margin-top: 1rem; }
summary { cursor: pointer; }
footer { margin-top: 3rem; color: var(--quiet); font-size: .875rem; }
@media (max-width: 44rem) {
  body { padding: 1rem; }
  .middle { display: none; }
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, caption, tbody, tr, th, td { display: block; }
  tr { padding: .5rem 0; border-bottom: 1px solid var(--line); }
  tbody th { min-width: 0; font-weight: 600; }
  th, td { padding: .125rem 0; border: 0; }
  td { display: flex; gap: 1rem; justify-content: space-between; text-align: right; white-space: normal; }
  td::before { content: attr(data-label); color: var(--quiet); text-align: left; white-space: nowrap; }
  td.long { display: block; text-align: left; }
  td.long::before { display: block; } }
@media print {
  body { max-width: none; padding: 0; font-size: 10pt; }
  h2 { break-after: avoid; }
  tr, figure, .totals { break-inside: avoid; }
  .totals div { border: 1px solid var(--line); }
  svg { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  details:not([open]) { display: none; } }
)";

constexpr double plotHeight = 180;  // pixels
constexpr double plotTop = 8;
constexpr qsizetype leastSlots = 12;  // a bar stays narrow if there are few
constexpr double leastHeight = 2;     // pixels; a single failure among 100,000 devices stays visible
constexpr qint64 highestCount = 1000000000000000;

/// Escapes a text for an element or a quoted attribute. Characters that a browser doesn't show are shown by their
/// numbers.
QString escaped(const QString& text) {
    return printable(text).toHtmlEscaped();
}

/// The same for a text of the ledger, whose direction of writing doesn't affect the text around it.
QString ofLedger(const QString& text) {
    return QStringLiteral("<bdi>") + escaped(text) + QStringLiteral("</bdi>");
}

QString grouped(qint64 number) {
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(number);
}

QString timeElement(qint64 time) {
    const QString machine = isoTime(time);
    const QString shown = plainTime(time);
    return machine.isEmpty() ? shown : QStringLiteral("<time datetime=\"%1\">%2</time>").arg(machine, shown);
}

/// A column of a table.
struct Column {
    const char* title;
    const char* kind;  ///< the class of its cells; may be empty
};

/// Writes a table. The first cell of a row is its header. On a narrow screen each row becomes a list, in which each
/// cell has the title of its column; the roles keep it a table for screen readers.
class Table {
  public:
    Table(const QString& caption, const QList<Column>& columns) : columns_(columns) {
        html_ = QStringLiteral(
                    "<table role=\"table\">\n<caption>%1</caption>\n"
                    "<thead role=\"rowgroup\"><tr role=\"row\">")
                    .arg(caption);
        for (const Column& column : columns) {
            html_ += QStringLiteral("<th scope=\"col\" role=\"columnheader\"%1>%2</th>")
                         .arg(classOf(column), QLatin1String(column.title));
        }
        html_ += QStringLiteral("</tr></thead>\n<tbody role=\"rowgroup\">\n");
    }

    /// `cells` are HTML.
    void addRow(const QStringList& cells) {
        html_ += QStringLiteral("<tr role=\"row\">");
        for (qsizetype i = 0; i < cells.size(); ++i) {
            const Column& column = columns_.at(i);
            html_ += i == 0 ? QStringLiteral("<th scope=\"row\" role=\"rowheader\"%1>").arg(classOf(column))
                            : QStringLiteral("<td role=\"cell\"%1 data-label=\"%2\">")
                                  .arg(classOf(column), QLatin1String(column.title));
            html_ += i == 0 ? cells.at(i) + QStringLiteral("</th>")
                            : QStringLiteral("<span>") + cells.at(i) + QStringLiteral("</span></td>");
        }
        html_ += QStringLiteral("</tr>\n");
    }

    [[nodiscard]] QString html() const { return html_ + QStringLiteral("</tbody>\n</table>\n"); }

  private:
    static QString classOf(const Column& column) {
        return *column.kind == '\0' ? QString() : QStringLiteral(" class=\"%1\"").arg(QLatin1String(column.kind));
    }

    QList<Column> columns_;
    QString html_;
};

QString heading(const char* text) {
    return QStringLiteral("<h2>%1</h2>\n").arg(QLatin1String(text));
}

QString nothing(const char* text) {
    return QStringLiteral("<p class=\"quiet\">%1</p>\n").arg(QLatin1String(text));
}

QString totals(const ledger::Summary& summary) {
    ledger::Summary::Product all;
    for (const ledger::Summary::Product& product : summary.products) {
        all.proven += product.proven;
        all.failed += product.failed;
        all.interrupted += product.interrupted;
        all.open += product.open;
        all.recalled += product.recalled;
    }
    const struct {
        const char* title;
        const char* kind;
        qint64 count;
    } rows[] = {{"Proven", "proven", all.proven},
                {"Failed", "failed", all.failed},
                {"Interrupted", "", all.interrupted},
                {"Open", "", all.open},
                {"Recalled", "", all.recalled}};
    QString html = QStringLiteral("<dl class=\"totals\">\n");
    for (const auto& row : rows) {
        const char* const kind = row.count == 0 ? "" : row.kind;
        html += QStringLiteral("<div><dt>%1</dt><dd class=\"%2\">%3</dd></div>\n")
                    .arg(QLatin1String(row.title), QLatin1String(kind), grouped(row.count));
    }
    return html + QStringLiteral("</dl>\n");
}

QString productSection(const ledger::Summary& summary) {
    QString html = heading("Products");
    if (summary.products.isEmpty()) {
        return html + nothing("No device was claimed yet.");
    }
    Table table(QStringLiteral("Attempts to make a device, by their state"), {{"Product", ""},
                                                                              {"Proven", "number"},
                                                                              {"Failed", "number"},
                                                                              {"Interrupted", "number"},
                                                                              {"Open", "number"},
                                                                              {"Recalled", "number"}});
    for (const ledger::Summary::Product& product : summary.products) {
        table.addRow({ofLedger(product.name), grouped(product.proven), grouped(product.failed),
                      grouped(product.interrupted), grouped(product.open), grouped(product.recalled)});
    }
    return html + table.html();
}

/// A layer of a bar, from the bottom up.
struct Layer {
    const char* kind;
    const char* title;
    qint64 (*count)(const ledger::Summary::Bucket& bucket);
};

constexpr std::array layers = {
    Layer{"proven", "proven", [](const ledger::Summary::Bucket& bucket) { return bucket.proven; }},
    Layer{"failed", "failed", [](const ledger::Summary::Bucket& bucket) { return bucket.failed; }},
    Layer{"other", "interrupted or recalled while open",
          [](const ledger::Summary::Bucket& bucket) {
              return std::clamp<qint64>(bucket.interrupted, 0, highestCount) +
                     std::clamp<qint64>(bucket.recalled, 0, highestCount);
          }},
};

qint64 countOf(const Layer& layer, const ledger::Summary::Bucket& bucket) {
    return std::clamp<qint64>(layer.count(bucket), 0, highestCount);
}

qint64 highestBar(const ledger::Summary& summary) {
    qint64 most = 1;
    for (const ledger::Summary::Bucket& bucket : summary.outcomes) {
        qint64 sum = 0;
        for (const Layer& layer : layers) {
            sum += countOf(layer, bucket);
        }
        most = std::max(most, sum);
    }
    return most;
}

QString number(double value) {
    return QString::number(value, 'f', 2);
}

/// The picture: lines with numbers at the left, bars, and times below. Widths are percentages, heights are pixels, so
/// that the texts keep their size at any width of the page.
class Chart {
  public:
    explicit Chart(const ledger::Summary& summary)
        : summary_(summary),
          most_(highestBar(summary)),
          step_(chartStep(most_)),
          top_((most_ + step_ - 1) / step_ * step_),
          slots_(std::max(leastSlots, summary.outcomes.size())) {}

    [[nodiscard]] QString html() const {
        return QStringLiteral(
                   "<svg class=\"chart\" role=\"img\" aria-labelledby=\"chart-title chart-desc\">\n"
                   "<title id=\"chart-title\">Devices per %1</title>\n<desc id=\"chart-desc\">%2</desc>\n")
                   .arg(lengthText(summary_.bucketLength), description()) +
               lines() + bars() + times() + QStringLiteral("</svg>\n");
    }

  private:
    [[nodiscard]] QString description() const {
        qint64 failed = 0;
        for (const ledger::Summary::Bucket& bucket : summary_.outcomes) {
            failed = std::max(failed, bucket.failed);
        }
        return QStringLiteral(
                   "A bar chart of %1 intervals of %2, from %3 to %4. One interval has at most %5 devices "
                   "and at most %6 failures.")
            .arg(summary_.outcomes.size())
            .arg(lengthText(summary_.bucketLength), plainTime(summary_.outcomes.constFirst().start),
                 plainTime(summary_.outcomes.constLast().start), grouped(most_), grouped(failed));
    }

    [[nodiscard]] double heightOf(qint64 count) const {
        return static_cast<double>(count) / static_cast<double>(top_) * plotHeight;
    }

    [[nodiscard]] QString lines() const {
        QString html;
        for (qint64 value = 0; value <= top_; value += step_) {
            const double y = plotTop + plotHeight - heightOf(value);
            html += QStringLiteral(
                        "<line class=\"grid\" x1=\"0%\" x2=\"100%\" y1=\"%1\" y2=\"%1\"/>"
                        "<text x=\"-8\" y=\"%2\" text-anchor=\"end\">%3</text>\n")
                        .arg(number(y), number(y + 4), grouped(value));
        }
        return html;
    }

    [[nodiscard]] QString bars() const {
        QString html;
        const double slot = 100.0 / static_cast<double>(slots_);
        for (qsizetype i = 0; i < summary_.outcomes.size(); ++i) {
            double y = plotTop + plotHeight;
            for (const Layer& layer : layers) {
                const qint64 count = countOf(layer, summary_.outcomes.at(i));
                if (count == 0) {
                    continue;
                }
                const double height = std::max(leastHeight, heightOf(count));
                y -= height;
                html += QStringLiteral("<rect class=\"bar-%1\" x=\"%2%\" y=\"%3\" width=\"%4%\" height=\"%5\"/>\n")
                            .arg(QLatin1String(layer.kind), number(slot * (static_cast<double>(i) + 0.1)), number(y),
                                 number(slot * 0.8), number(height));
            }
        }
        return html;
    }

    [[nodiscard]] QString times() const {
        const qsizetype count = summary_.outcomes.size();
        QString html = timeAt(0, "start", "");
        if (count == slots_) {
            html += timeAt(count / 2, "middle", "middle") + timeAt(count - 1, "end", "");
        }
        return html;
    }

    /// The time and the date of an interval, in two lines below it.
    [[nodiscard]] QString timeAt(qsizetype index, const char* anchor, const char* kind) const {
        const QString text = plainTime(summary_.outcomes.at(index).start);
        const bool isTime = text.size() > 11;
        const double x = index == 0      ? 0
                         : *kind == '\0' ? 100
                                         : 100.0 * (static_cast<double>(index) + 0.5) / static_cast<double>(slots_);
        QString html;
        const QStringList parts = isTime ? QStringList{text.mid(11, 8), text.left(10)} : QStringList{text};
        for (qsizetype line = 0; line < parts.size(); ++line) {
            html += QStringLiteral("<text class=\"%1\" x=\"%2%\" y=\"%3\" text-anchor=\"%4\">%5</text>\n")
                        .arg(QLatin1String(kind), number(x),
                             number(plotTop + plotHeight + 20 + 17 * static_cast<double>(line)), QLatin1String(anchor),
                             parts.at(line));
        }
        return html;
    }

    const ledger::Summary& summary_;
    qint64 most_;
    qint64 step_;
    qint64 top_;
    qsizetype slots_;
};

QString chartSection(const ledger::Summary& summary) {
    QString html = heading("Rate");
    if (summary.outcomes.isEmpty()) {
        return html + nothing("No attempt has ended yet.");
    }
    html += QStringLiteral("<figure>\n<figcaption>Attempts that ended in each %1</figcaption>\n<ul class=\"legend\">\n")
                .arg(lengthText(summary.bucketLength));
    for (const Layer& layer : layers) {
        html += QStringLiteral(
                    "<li><svg viewBox=\"0 0 12 12\" aria-hidden=\"true\"><rect class=\"bar-%1\" width=\"12\" "
                    "height=\"12\"/></svg>%2</li>\n")
                    .arg(QLatin1String(layer.kind), QLatin1String(layer.title));
    }
    html += QStringLiteral("</ul>\n") + Chart(summary).html() +
            QStringLiteral("</figure>\n<details>\n<summary>The numbers of the chart</summary>\n");
    Table table(QStringLiteral("Attempts that ended, by intervals of %1").arg(lengthText(summary.bucketLength)),
                {{"From", "time"},
                 {"Proven", "number"},
                 {"Failed", "number"},
                 {"Interrupted", "number"},
                 {"Recalled", "number"}});
    for (const ledger::Summary::Bucket& bucket : summary.outcomes) {
        table.addRow({timeElement(bucket.start), grouped(bucket.proven), grouped(bucket.failed),
                      grouped(bucket.interrupted), grouped(bucket.recalled)});
    }
    return html + table.html() + QStringLiteral("</details>\n");
}

QString failureSection(const ledger::Summary& summary) {
    QString html = heading("Failures");
    if (summary.troubles.isEmpty()) {
        return html + nothing("No device has failed.");
    }
    const QString caption = summary.troubleCount == 1 ? QStringLiteral("1 device has failed at least once")
                            : summary.troubleCount > summary.troubles.size()
                                ? QStringLiteral("%1 devices have failed at least once; these are the latest %2")
                                      .arg(grouped(summary.troubleCount), grouped(summary.troubles.size()))
                                : QStringLiteral("%1 devices have failed at least once, the latest first")
                                      .arg(grouped(summary.troubleCount));
    Table table(
        caption,
        {{"Serial", ""}, {"Product", "name"}, {"Failures", "number"}, {"Last failure", "time"}, {"Reason", "long"}});
    for (const ledger::Summary::Trouble& trouble : summary.troubles) {
        table.addRow({ofLedger(trouble.serial), ofLedger(trouble.product), grouped(trouble.failures),
                      timeElement(trouble.time), ofLedger(trouble.reason)});
    }
    return html + table.html();
}

QString keySection(const ledger::Summary& summary) {
    QString html = heading("Keys");
    if (summary.keys.isEmpty()) {
        return html + nothing("No key was used.");
    }
    Table table(QStringLiteral("Keys by their fingerprints; a used IV is never used again with its key"),
                {{"Key", ""},
                 {"State", "short"},
                 {"Used IVs", "number"},
                 {"First use", "time"},
                 {"Source", "long"},
                 {"Fingerprint", "long"}});
    for (const ledger::Summary::Key& key : summary.keys) {
        table.addRow({key.label.isEmpty() ? QStringLiteral("without a label") : ofLedger(key.label),
                      key.isRetired ? QStringLiteral("retired") : QStringLiteral("usable"), grouped(key.ivs),
                      timeElement(key.firstUse), ofLedger(key.source),
                      QStringLiteral("<code>%1</code>").arg(QString::fromLatin1(key.fingerprint.toHex()))});
    }
    return html + table.html();
}

QString stationSection(const ledger::Summary& summary) {
    QString html = heading("Stations");
    if (summary.stations.isEmpty()) {
        return html + nothing("No station has opened this ledger.");
    }
    Table table(QStringLiteral("Stations and the lines of their records; a checkpoint signs all lines before it"),
                {{"Station", ""},
                 {"Since", "time"},
                 {"Claims", "number"},
                 {"Leases", "number"},
                 {"Last line", "number"},
                 {"Written", "time"},
                 {"Last checkpoint", "number"}});
    for (const ledger::Summary::Station& station : summary.stations) {
        table.addRow({ofLedger(station.name), timeElement(station.since), grouped(station.claims),
                      grouped(station.leases), station.records == 0 ? QStringLiteral("none") : grouped(station.records),
                      timeElement(station.recordTime),
                      station.checkpoint == 0 ? QStringLiteral("none") : grouped(station.checkpoint)});
    }
    return html + table.html();
}

QString epochSection(const ledger::Summary& summary) {
    if (summary.epochs.isEmpty()) {
        return {};
    }
    Table table(QStringLiteral("Epochs: the bytes that nonces begin with"),
                {{"Number", ""}, {"Begun", "time"}, {"Bytes", "long"}, {"In place of", "long"}});
    for (const ledger::Summary::Epoch& epoch : summary.epochs) {
        const QString replaced = QString::fromLatin1(epoch.replaced.toHex());
        table.addRow({grouped(epoch.number), timeElement(epoch.time),
                      QStringLiteral("<code>%1</code>").arg(QString::fromLatin1(epoch.id.toHex())),
                      replaced.isEmpty() ? QStringLiteral("none") : QStringLiteral("<code>%1</code>").arg(replaced)});
    }
    return heading("Nonces") + table.html();
}

}  // namespace

qint64 chartStep(qint64 most) {
    qint64 step = 1;
    while (most / 5 > step || (most / 5 == step && most % 5 != 0)) {
        qint64 first = step;
        while (first >= 10) {
            first /= 10;
        }
        step = first == 2 ? step / 2 * 5 : step * 2;
    }
    return step;
}

QString lengthText(qint64 milliseconds) {
    const struct {
        qint64 length;
        const char* name;
    } units[] = {{86400000, "days"}, {3600000, "h"}, {60000, "min"}, {1000, "s"}};
    for (const auto& unit : units) {
        if (milliseconds >= 2 * unit.length || (milliseconds >= unit.length && unit.length <= 1000)) {
            const QString shown =
                QString::number(static_cast<double>(milliseconds) / static_cast<double>(unit.length), 'f', 1);
            return (shown.endsWith(QLatin1String(".0")) ? shown.chopped(2) : shown) + u' ' + QLatin1String(unit.name);
        }
    }
    return QStringLiteral("%1 ms").arg(milliseconds);
}

QByteArray reportPage(const ledger::Summary& summary, const ReportHead& head) {
    QString html = QStringLiteral(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"referrer\" content=\"no-referrer\">\n<title>Production report</title>\n<style>");
    html += QLatin1String(style);
    html += QStringLiteral("</style>\n</head>\n<body>\n<header>\n<h1>Production report</h1>\n");
    html += QStringLiteral("<p class=\"quiet\">%1, as of %2</p>\n</header>\n<main>\n")
                .arg(ofLedger(head.ledger), timeElement(head.time));
    html += totals(summary) + chartSection(summary) + productSection(summary) + failureSection(summary) +
            keySection(summary) + stationSection(summary) + epochSection(summary);
    html += QStringLiteral("</main>\n<footer>Made by qvora-produce %1. All times are UTC.</footer>\n</body>\n</html>\n")
                .arg(QString::fromLatin1(buildVersion).toHtmlEscaped());
    return html.toUtf8();
}

}  // namespace produce
