#include "desktop/production/ProductionPage.h"

#include "desktop/look/ToneLabel.h"
#include "desktop/page/Dialogs.h"
#include "desktop/production/JobDraftView.h"
#include "desktop/production/LedgerView.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace desktop {

namespace {

constexpr int refreshMilliseconds = 5000;

bool isServer(const QString& place) {
    return place.startsWith(QLatin1String("postgresql://"));
}

}  // namespace

ProductionPage::ProductionPage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      ledger_(new QLineEdit),
      refresh_(new QPushButton(tr("Refre&sh"))),
      state_(new ToneLabel(ThemeColor::quiet)),
      view_(new LedgerView),
      draft_(new JobDraftView(context)),
      tabs_(new QTabWidget) {
    setAcceptDrops(true);
    ledger_->setObjectName(QStringLiteral("ledger"));
    ledger_->setPlaceholderText(QStringLiteral("line.db, postgresql://…"));
    auto* label = new QLabel(tr("&Ledger"));
    label->setBuddy(ledger_);
    refresh_->setObjectName(QStringLiteral("refresh"));
    Theme::setFilled(*refresh_);
    state_->setObjectName(QStringLiteral("ledgerState"));
    state_->setWordWrap(true);
    state_->setText(tr("Open the ledger of a line to see what was made. The page only reads it."));

    auto* bar = new QHBoxLayout;
    bar->setSpacing(Theme::labelGap());
    bar->addWidget(label);
    bar->addWidget(ledger_, 1);
    bar->addWidget(refresh_);
    auto* line = new QWidget;
    auto* column = new QVBoxLayout(line);
    column->setSpacing(Theme::rowGap());
    column->addLayout(bar);
    column->addWidget(state_);
    column->addWidget(view_, 1);
    column->addStretch(0);
    view_->hide();

    auto* job = new QWidget;
    auto* place = new QVBoxLayout(job);
    place->addWidget(draft_);
    tabs_->setObjectName(QStringLiteral("production"));
    tabs_->addTab(line, tr("Line"));
    tabs_->addTab(job, tr("New job"));
    auto* layout = new QVBoxLayout(this);
    const int gap = Theme::groupGap();
    layout->setContentsMargins(gap, gap, gap, gap);
    layout->addWidget(tabs_);

    timer_.setInterval(refreshMilliseconds);
    connect(&timer_, &QTimer::timeout, this, [this] {
        if (line_->isVisible() && !runner_.isRunning()) {
            readLedger();
        }
    });
    line_ = line;
    connect(refresh_, &QPushButton::clicked, this, &ProductionPage::readLedger);
    connect(ledger_, &QLineEdit::returnPressed, this, &ProductionPage::readLedger);
    connect(&runner_, &ProgramRun::ended, this, &ProductionPage::showStatus);
    connect(draft_, &JobDraftView::stateChanged, this, &ProductionPage::stateChanged);
    connect(draft_, &JobDraftView::saveWanted, this, [this] { static_cast<void>(save()); });
}

QString ProductionPage::documentName() const {
    if (draft_->isEmpty()) {
        return {};
    }
    return draft_->path().isEmpty() ? tr("Untitled") : QFileInfo(draft_->path()).fileName();
}

QString ProductionPage::fileFilter() const {
    return tr("Ledgers and saved jobs (*.db *.json)");
}

bool ProductionPage::isModified() const {
    return draft_->isModified();
}

bool ProductionPage::openFile(const QString& path) {
    if (path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        tabs_->setCurrentIndex(1);
        draft_->addJobs({path});
        return true;
    }
    tabs_->setCurrentIndex(0);
    ledger_->setText(path);
    readLedger();
    return true;
}

bool ProductionPage::acceptsFiles(const QStringList& paths) const {
    return !paths.isEmpty();
}

void ProductionPage::takeFiles(const QStringList& paths) {
    for (const QString& path : paths) {
        static_cast<void>(openFile(path));
    }
}

bool ProductionPage::save() {
    return draft_->path().isEmpty() ? saveAs() : draft_->saveTo(draft_->path());
}

bool ProductionPage::saveAs() {
    const QString path = context_.dialogs.saveFile(this, tr("Production job"), jobs::PathRole::document,
                                                   tr("Production jobs (*.json)"), QStringLiteral("job.json"));
    return !path.isEmpty() && draft_->saveTo(path);
}

void ProductionPage::run() {
    readLedger();
}

void ProductionPage::readLedger() {
    const QString program = programPath(context_.toolPath, QStringLiteral("qvora-produce"));
    const QString place = ledger_->text().trimmed();
    if (place.isEmpty()) {
        ledger_->setFocus();
        return;
    }
    if (program.isEmpty()) {
        showFault(tr("qvora-produce isn't installed; its package is qvora-sealed-bundle-builder-production."));
        return;
    }
    const QString ledger = isServer(place) ? place : QFileInfo(place).absoluteFilePath();
    runner_.start(program, {QStringLiteral("status"), QStringLiteral("--json"), QStringLiteral("--ledger=") + ledger});
}

void ProductionPage::showStatus(const ProgramRun::Result& result) {
    const QJsonObject status = QJsonDocument::fromJson(result.output).object();
    if (result.status != 0 || status.isEmpty()) {
        showFault(result.faults.isEmpty() ? tr("qvora-produce ended with %1.").arg(result.status) : result.faults);
        return;
    }
    const QString time = status.value(QLatin1String("time")).toString();
    state_->setTone(ThemeColor::quiet);
    state_->setText(tr("%1, read at %2 UTC; again every %3 seconds")
                        .arg(status.value(QLatin1String("ledger")).toString(), time.mid(11, 8))
                        .arg(refreshMilliseconds / 1000));
    view_->show(status);
    view_->QWidget::show();
    timer_.start();
}

void ProductionPage::showFault(const QString& text) {
    timer_.stop();
    view_->hide();
    state_->setTone(ThemeColor::fault);
    state_->setText(text);
}

}  // namespace desktop
