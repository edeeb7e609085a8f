#include "desktop/run/RunPanel.h"

#include "desktop/look/StatusMark.h"
#include "desktop/look/plainTip.h"
#include "desktop/look/theme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Page.h"
#include "desktop/run/CommandLineView.h"
#include "desktop/run/OutputPane.h"
#include "desktop/run/ToolRun.h"
#include "jobs/commandLine.h"
#include "jobs/shellQuoted.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <cstring>

namespace desktop {

namespace {

/// The data of one run. The panel keeps the shown and the running job, because the page may change during a run.
struct Job {
    QStringList arguments;
    QStringList openPoints;
    QStringList outputs;
    QString folder;
};

QPushButton* makeButton(const QString& text, const char* name) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    return button;
}

/// Makes the button as wide as the widest of its texts, so that its neighbours don't move.
void keepWidth(QPushButton& button, const QStringList& texts) {
    const QString shown = button.text();
    int width = 0;
    for (const QString& text : texts) {
        button.setText(text);
        width = qMax(width, button.sizeHint().width());
    }
    button.setText(shown);
    button.setMinimumWidth(width);
}

/// Names only the first of `points`, so that an empty form doesn't fill the panel.
QString openText(const QStringList& points) {
    constexpr qsizetype maxNamed = 7;
    const qsizetype count = points.size();
    const QString names = points.mid(0, maxNamed).join(QLatin1String(", "));
    if (count == 0) {
        return RunPanel::tr("Ready");
    }
    if (count == 1) {
        return RunPanel::tr("1 thing is missing or wrong: %1").arg(names);
    }
    if (count <= maxNamed) {
        return RunPanel::tr("%1 things are missing or wrong: %2").arg(QString::number(count), names);
    }
    return RunPanel::tr("%1 things are missing or wrong: %2 and %3 more")
        .arg(QString::number(count), names, QString::number(count - maxNamed));
}

/// Shows short runs in hundredths, because 0.0 would be wrong.
QString secondsText(qint64 milliseconds) {
    const double seconds = static_cast<double>(milliseconds) / 1000;
    return QLocale().toString(seconds, 'f', seconds < 0.1 ? 2 : seconds < 10 ? 1 : 0);
}

}  // namespace

struct RunPanel::Inside {
    explicit Inside(RunPanel& owner, PageContext& pageContext)
        : panel(owner), context(pageContext), output(new OutputPane(pageContext)) {}

    void build();
    void refresh();
    void showStatus(StatusMark::Kind kind, const QString& text);
    void colourStatus();
    void press();
    void showEnd(const ToolEnd& end);
    void showProgress();
    void offerOutputs();
    void copy();
    void openFolder();
    [[nodiscard]] QString lineOf(const Job& some) const;

    RunPanel& panel;
    PageContext& context;
    ToolRun run;
    Job job;      ///< the job that the page shows
    Job running;  ///< the current run, or the last one
    bool showsEnd = false;
    bool hasReportedError = false;  ///< whether the current or last run printed an error
    QStringList made;               ///< absolute paths of the outputs that exist
    CommandLineView* commandLine = new CommandLineView;
    QPushButton* copyButton = nullptr;
    StatusMark* mark = new StatusMark;
    QLabel* words = new QLabel;
    QPushButton* folderButton = nullptr;
    QPushButton* inspectButton = nullptr;
    QMenu* inspectMenu = nullptr;
    QPushButton* runButton = nullptr;
    OutputPane* output;
    QTimer progressTimer;
    QTimer copiedTimer;
    QTimer justEnded;
};

RunPanel::RunPanel(PageContext& context, QWidget* parent)
    : QWidget(parent), inside_(std::make_unique<Inside>(*this, context)) {
    inside_->build();
    inside_->refresh();
}

RunPanel::~RunPanel() = default;

void RunPanel::setCommand(const QStringList& arguments, const QStringList& openPoints) {
    Job& job = inside_->job;
    if (job.arguments != arguments || job.openPoints != openPoints) {
        job.arguments = arguments;
        job.openPoints = openPoints;
        inside_->showsEnd = false;
        inside_->refresh();
    }
}

void RunPanel::forgetEnd() {
    inside_->showsEnd = false;
    inside_->refresh();
}

void RunPanel::setOutputs(const QStringList& paths) {
    inside_->job.outputs = paths;
}

void RunPanel::setFolder(const QString& folder) {
    inside_->job.folder = folder;
    inside_->refresh();
}

void RunPanel::start() {
    Inside& in = *inside_;
    if (in.run.isRunning()) {
        return;
    }
    in.running = in.job;
    in.showsEnd = false;
    in.hasReportedError = false;
    in.output->empty();
    in.run.start(in.context.toolPath, in.running.arguments, in.running.folder);
    in.progressTimer.start();
    in.refresh();
    emit runningChanged();
}

void RunPanel::stop() {
    inside_->run.stop();
    inside_->refresh();
}

bool RunPanel::isRunning() const {
    return inside_->run.isRunning();
}

void RunPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        inside_->colourStatus();
        update();
    }
}

void RunPanel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::color(ThemeColor::panel));
    painter.fillRect(QRect(0, 0, width(), 1), Theme::color(ThemeColor::line));
}

void RunPanel::Inside::build() {
    commandLine->setObjectName(QStringLiteral("commandLine"));
    words->setObjectName(QStringLiteral("missing"));
    output->setObjectName(QStringLiteral("output"));
    copyButton = makeButton(tr("Cop&y"), "copy");
    copyButton->setAccessibleName(tr("Copy the command line"));
    copyButton->setToolTip(tr("Copies the command line for a shell or a script."));
    keepWidth(*copyButton, {tr("Cop&y"), tr("Copied")});
    folderButton = makeButton(tr("Open Fo&lder"), "openFolder");
    inspectButton = makeButton(tr("&Inspect"), "inspect");
    inspectMenu = new QMenu(inspectButton);
    runButton = makeButton(tr("R&un"), "run");
    Theme::setFilled(*runButton);
    keepWidth(*runButton, {tr("R&un"), tr("S&top"), tr("Stopping")});
    runButton->setMinimumWidth(runButton->minimumWidth() + 2 * Theme::groupGap());
    words->setTextFormat(Qt::PlainText);
    words->setWordWrap(true);
    words->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);

    auto* lineRow = new QHBoxLayout;
    lineRow->addWidget(commandLine);
    lineRow->addWidget(copyButton, 0, Qt::AlignTop);
    auto* statusRow = new QHBoxLayout;
    statusRow->addWidget(mark);
    statusRow->addWidget(words, 1);
    statusRow->addWidget(folderButton);
    statusRow->addWidget(inspectButton);
    statusRow->addWidget(runButton);
    auto* layout = new QVBoxLayout(&panel);
    layout->setContentsMargins(Theme::groupGap(), Theme::labelGap(), Theme::groupGap(), Theme::labelGap());
    layout->setSpacing(Theme::rowGap());
    layout->addLayout(lineRow);
    layout->addLayout(statusRow);
    layout->addWidget(output, 1);

    constexpr int progressEvery = 250;  // milliseconds
    progressTimer.setInterval(progressEvery);
    constexpr int copiedFor = 1500;
    copiedTimer.setInterval(copiedFor);
    copiedTimer.setSingleShot(true);
    justEnded.setSingleShot(true);

    connect(copyButton, &QPushButton::clicked, &panel, [this] { copy(); });
    connect(&copiedTimer, &QTimer::timeout, &panel, [this] { copyButton->setText(tr("Cop&y")); });
    connect(folderButton, &QPushButton::clicked, &panel, [this] { openFolder(); });
    connect(inspectButton, &QPushButton::clicked, &panel, [this] {
        if (made.size() == 1) {
            emit panel.inspectRequested(made.constFirst());
        }
    });
    connect(runButton, &QPushButton::clicked, &panel, [this] { press(); });
    connect(&progressTimer, &QTimer::timeout, &panel, [this] { showProgress(); });
    connect(&run, &ToolRun::output, &panel, [this](const QList<StyledText>& texts) {
        hasReportedError = hasReportedError || std::any_of(texts.begin(), texts.end(), [](const StyledText& text) {
                               return text.style == TextStyle::error;
                           });
        output->add(texts);
    });
    connect(&run, &ToolRun::ended, &panel, [this](const ToolEnd& end) { showEnd(end); });
}

void RunPanel::Inside::refresh() {
    const bool isRunning = run.isRunning();
    const Job& shown = isRunning ? running : job;
    commandLine->setLine(lineOf(shown));
    setPlainTip(*commandLine,
                shown.folder.isEmpty() ? QString() : tr("Runs in %1").arg(QDir::toNativeSeparators(shown.folder)));
    // The button stays enabled while the run stops, because a disabled button loses the focus.
    runButton->setText(run.isStopping() ? tr("Stopping") : isRunning ? tr("S&top") : tr("R&un"));
    folderButton->setVisible(!isRunning && showsEnd && !made.isEmpty());
    inspectButton->setVisible(folderButton->isVisibleTo(&panel));
    if (isRunning) {
        showProgress();
    } else if (!showsEnd) {
        showStatus(job.openPoints.isEmpty() ? StatusMark::Kind::none : StatusMark::Kind::open,
                   openText(job.openPoints));
    }
}

void RunPanel::Inside::showStatus(StatusMark::Kind kind, const QString& text) {
    mark->setVisible(kind != StatusMark::Kind::none);
    mark->show(kind);
    words->setText(text);
    setPlainTip(*words, kind == StatusMark::Kind::open ? job.openPoints.join(u'\n') : QString());
    colourStatus();
}

void RunPanel::Inside::colourStatus() {
    QPalette palette = QApplication::palette(words);
    if (mark->kind() == StatusMark::Kind::good || mark->kind() == StatusMark::Kind::bad) {
        const bool isGood = mark->kind() == StatusMark::Kind::good;
        palette.setColor(QPalette::WindowText, Theme::color(isGood ? ThemeColor::success : ThemeColor::fault));
    }
    words->setPalette(palette);
}

void RunPanel::Inside::press() {
    // The second click of a double click must not stop the run that the first click started. A click on Stop just
    // after the end of a run must not start a new run.
    const int tooSoon = QApplication::doubleClickInterval();
    if (run.isRunning()) {
        if (run.milliseconds() >= tooSoon) {
            panel.stop();
        }
    } else if (!justEnded.isActive()) {
        emit panel.runRequested();
    }
}

void RunPanel::Inside::showProgress() {
    showStatus(StatusMark::Kind::running,
               run.isStopping() ? tr("Stopping") : tr("Running for %1 s").arg(run.milliseconds() / 1000));
}

void RunPanel::Inside::showEnd(const ToolEnd& end) {
    progressTimer.stop();
    if (end.milliseconds > 1000) {  // a shorter run leaves no time to aim at Stop
        justEnded.start(QApplication::doubleClickInterval());
    }
    output->flush();
    showsEnd = true;
    made.clear();
    const QString time = secondsText(end.milliseconds);
    int status = -1;
    switch (end.kind) {
        case ToolEnd::Kind::ended:
            status = end.status;
            // The tool reports some failures by a message only, with status 0.
            if (status == 0 && !hasReportedError) {
                offerOutputs();
                showStatus(StatusMark::Kind::good, tr("Ended with status 0 in %1 s").arg(time));
            } else if (status == 0) {
                showStatus(StatusMark::Kind::bad,
                           tr("Ended with status 0 in %1 s, but the tool reported an error").arg(time));
            } else {
                showStatus(StatusMark::Kind::bad,
                           tr("Ended with status %1 in %2 s").arg(QString::number(status), time));
            }
            break;
        case ToolEnd::Kind::crashed:
            showStatus(StatusMark::Kind::bad,
                       tr("Ended by signal %1 (%2) after %3 s")
                           .arg(QString::number(end.status), QString::fromLocal8Bit(strsignal(end.status)), time));
            break;
        case ToolEnd::Kind::stopped:
            showStatus(StatusMark::Kind::stopped, tr("Stopped after %1 s").arg(time));
            break;
        case ToolEnd::Kind::notStarted:
            showStatus(StatusMark::Kind::bad, end.reason);
            break;
    }
    refresh();
    emit panel.runningChanged();
    emit panel.finished(status);
}

void RunPanel::Inside::offerOutputs() {
    const QDir folder(running.folder);
    for (const QString& path : running.outputs) {
        const QString whole = folder.absoluteFilePath(path);
        if (!path.isEmpty() && QFileInfo(whole).isFile() && !made.contains(whole)) {
            made.append(whole);
        }
    }
    inspectMenu->clear();
    for (const QString& path : made) {
        // An ampersand in a menu's text marks a mnemonic.
        const QString name = QFileInfo(path).fileName().replace(u'&', QLatin1String("&&"));
        QAction* action = inspectMenu->addAction(name, &panel, [this, path] { emit panel.inspectRequested(path); });
        action->setToolTip(QDir::toNativeSeparators(path));
    }
    inspectButton->setMenu(made.size() > 1 ? inspectMenu : nullptr);
    setPlainTip(*inspectButton, made.size() == 1 ? QDir::toNativeSeparators(made.constFirst()) : QString());
    setPlainTip(*folderButton,
                made.isEmpty() ? QString() : QDir::toNativeSeparators(QFileInfo(made.constFirst()).path()));
}

void RunPanel::Inside::copy() {
    QApplication::clipboard()->setText(commandLine->line());
    copyButton->setText(tr("Copied"));
    copiedTimer.start();
}

void RunPanel::Inside::openFolder() {
    const QString folder = made.isEmpty() ? running.folder : QFileInfo(made.constFirst()).path();
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folder))) {
        context.dialogs.showFault(
            &panel, tr("Nothing on this computer opens the folder “%1”.").arg(QDir::toNativeSeparators(folder)));
    }
}

QString RunPanel::Inside::lineOf(const Job& some) const {
    return jobs::shellQuoted(QStringList{jobs::programWord(context.toolPath)} + some.arguments);
}

}  // namespace desktop
