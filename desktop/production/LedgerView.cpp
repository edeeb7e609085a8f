#include "desktop/production/LedgerView.h"

#include "desktop/look/theme.h"
#include "desktop/production/RateView.h"

#include <QHeaderView>
#include <QJsonArray>
#include <QJsonObject>
#include <QLabel>
#include <QLocale>
#include <QScrollBar>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <array>

namespace desktop {

namespace {

constexpr qsizetype fingerprintDigits = 16;

QString numberOf(const QJsonObject& object, const char* name) {
    return QLocale().toString(object.value(QLatin1String(name)).toInteger());
}

QString textOf(const QJsonObject& object, const char* name) {
    return object.value(QLatin1String(name)).toString();
}

/// A time such as "2026-01-31T23:59:59.000Z" as the view shows it, in whole seconds.
QString timeOf(const QJsonObject& object, const char* name) {
    const QString text = textOf(object, name);
    return text.isEmpty() ? LedgerView::tr("never")
                          : text.left(10) + QLatin1Char(' ') + text.mid(11, 8) + QStringLiteral(" UTC");
}

template <class MakeRow>
QList<QStringList> rowsOf(const QJsonObject& status, const char* name, MakeRow makeRow) {
    QList<QStringList> rows;
    for (const auto& value : status.value(QLatin1String(name)).toArray()) {
        rows.append(makeRow(value.toObject()));
    }
    return rows;
}

}  // namespace

LedgerView::LedgerView(QWidget* parent)
    : QWidget(parent), counts_(new QLabel), rate_(new RateView), tabs_(new QTabWidget) {
    counts_->setObjectName(QStringLiteral("counts"));
    counts_->setTextFormat(Qt::PlainText);
    counts_->setWordWrap(true);
    counts_->setFont(Theme::headlineFont());
    counts_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    failures_ =
        addTable(tr("Failures"), "failures", {tr("Serial"), tr("Product"), tr("Failures"), tr("Last"), tr("Reason")});
    keys_ = addTable(tr("Keys"), "keys", {tr("Key"), tr("Fingerprint"), tr("State"), tr("Images"), tr("First use")});
    stations_ = addTable(tr("Stations"), "stations",
                         {tr("Station"), tr("Devices begun"), tr("Last line"), tr("At"), tr("Checkpoint")});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::rowGap());
    layout->addWidget(counts_);
    layout->addWidget(rate_);
    layout->addWidget(tabs_, 1);
}

QTreeWidget* LedgerView::addTable(const QString& title, const char* name, const QStringList& heads) {
    auto* table = new QTreeWidget;
    table->setObjectName(QLatin1String(name));
    table->setAccessibleName(title);
    table->setHeaderLabels(heads);
    table->setRootIsDecorated(false);
    table->setUniformRowHeights(true);
    table->setAllColumnsShowFocus(true);
    tabs_->addTab(table, title);
    return table;
}

void LedgerView::show(const QJsonObject& status) {
    showCounts(status);
    QList<RateBar> bars;
    for (const auto& value : status.value(QLatin1String("intervals")).toArray()) {
        const QJsonObject interval = value.toObject();
        const auto count = [&interval](const char* name) { return interval.value(QLatin1String(name)).toInteger(); };
        bars.append(
            {timeOf(interval, "start"), count("proven"), count("failed"), count("interrupted") + count("recalled")});
    }
    rate_->show(bars);
    showRows(failures_, rowsOf(status, "failures", [](const QJsonObject& one) {
                 return QStringList{textOf(one, "serial"), textOf(one, "product"), numberOf(one, "failures"),
                                    timeOf(one, "time"), textOf(one, "reason")};
             }));
    showRows(keys_, rowsOf(status, "keys", [](const QJsonObject& one) {
                 return QStringList{textOf(one, "label"), textOf(one, "fingerprint").left(fingerprintDigits),
                                    one.value(QLatin1String("retired")).toBool() ? tr("retired") : tr("in use"),
                                    numberOf(one, "ivs"), timeOf(one, "firstUse")};
             }));
    showRows(stations_, rowsOf(status, "stations", [](const QJsonObject& one) {
                 const qint64 checkpoint = one.value(QLatin1String("checkpoint")).toInteger();
                 return QStringList{
                     textOf(one, "name"), numberOf(one, "claims"), numberOf(one, "lastLine"),
                     timeOf(one, "lastLineTime"),
                     checkpoint > 0 ? tr("line %1").arg(QLocale().toString(checkpoint)) : tr("none yet")};
             }));
    tabs_->setTabText(0, tr("Failures (%1)").arg(numberOf(status, "failedDevices")));
}

void LedgerView::showCounts(const QJsonObject& status) {
    QStringList lines;
    for (const auto& value : status.value(QLatin1String("products")).toArray()) {
        const QJsonObject product = value.toObject();
        QStringList parts{tr("%1 proven").arg(numberOf(product, "proven")),
                          tr("%1 failed").arg(numberOf(product, "failed"))};
        constexpr std::array more = {std::pair{"open", QT_TR_NOOP("%1 in progress")},
                                     std::pair{"interrupted", QT_TR_NOOP("%1 interrupted")},
                                     std::pair{"recalled", QT_TR_NOOP("%1 void")}};
        for (const auto& [name, text] : more) {
            if (product.value(QLatin1String(name)).toInteger() > 0) {
                parts.append(tr(text).arg(numberOf(product, name)));
            }
        }
        lines.append(tr("%1: %2").arg(textOf(product, "name"), parts.join(QLatin1String(", "))));
    }
    counts_->setText(lines.isEmpty() ? tr("Nothing was made yet") : lines.join(QLatin1Char('\n')));
}

void LedgerView::showRows(QTreeWidget* table, const QList<QStringList>& rows) {
    const int place = table->verticalScrollBar()->value();
    const QString chosen = table->currentItem() != nullptr ? table->currentItem()->text(0) : QString();
    const bool isFirst = table->topLevelItemCount() == 0;
    table->clear();
    for (const QStringList& row : rows) {
        auto* item = new QTreeWidgetItem(table, row);
        item->setToolTip(static_cast<int>(row.size()) - 1, Qt::convertFromPlainText(row.constLast()));
        if (row.constFirst() == chosen) {
            table->setCurrentItem(item);
        }
    }
    for (int column = 0; isFirst && column < table->columnCount(); ++column) {
        table->resizeColumnToContents(column);
    }
    table->verticalScrollBar()->setValue(place);
}

}  // namespace desktop
