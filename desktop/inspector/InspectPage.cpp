#include "desktop/inspector/InspectPage.h"

#include "desktop/form/FormView.h"
#include "desktop/form/rowList.h"
#include "desktop/inspector/BytePanel.h"
#include "desktop/inspector/CheckListModel.h"
#include "desktop/inspector/DifferenceModel.h"
#include "desktop/inspector/DropPlace.h"
#include "desktop/inspector/InspectModel.h"
#include "desktop/inspector/InspectVerdict.h"
#include "desktop/inspector/MapPanel.h"
#include "desktop/inspector/MeaningDelegate.h"
#include "desktop/inspector/VerdictBar.h"
#include "desktop/inspector/inspectFields.h"
#include "desktop/inspector/inspectReport.h"
#include "desktop/look/theme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Settings.h"
#include "desktop/run/CommandLineView.h"
#include "inspect/words.h"
#include "jobs/shellQuoted.h"

#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QHeaderView>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableView>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>

namespace desktop {

namespace {

constexpr const char* rowState = "inspectRows";
constexpr const char* columnState = "inspectColumns";

enum Tab { BytesTab, ChecksTab, KeysTab, DifferencesTab };

QPushButton* makeButton(const QString& text, const char* name) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    return button;
}

/// Shows for a moment that the text was copied.
void sayCopied(QPushButton& button) {
    constexpr int shownFor = 1500;  // milliseconds
    const QString text = button.text();
    const QString copied = InspectPage::tr("Copied");
    if (text != copied) {
        button.setMinimumWidth(button.width());
        button.setText(copied);
        QTimer::singleShot(shownFor, &button, [&button, text] { button.setText(text); });
    }
}

}  // namespace

InspectPage::InspectPage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      worker_(new InspectWorker(this)),
      stack_(new QStackedWidget),
      columns_(new QSplitter),
      rows_(new QSplitter(Qt::Vertical)),
      verdict_(new VerdictBar),
      keysButton_(makeButton(tr("Give Keys"), "giveKeys")),
      stopButton_(makeButton(tr("&Stop"), "stop")),
      reportButton_(makeButton(tr("C&opy Report"), "copyReport")),
      model_(new InspectModel(this)),
      tree_(new QTreeView),
      map_(new MapPanel),
      tabs_(new QTabWidget),
      bytes_(new BytePanel),
      checks_(new CheckListModel(this)),
      form_(new FormView(inspectFields(), context)),
      differences_(new DifferenceModel(this)),
      differencePage_(new QWidget),
      commandLine_(new CommandLineView),
      runButton_(makeButton(tr("Ve&rify"), "run")) {
    setAcceptDrops(true);
    makeVerdict();
    stack_->addWidget(makeStart());
    stack_->addWidget(makeContent());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(stack_);

    constexpr int busyAfter = 300;  // milliseconds
    busyTimer_.setSingleShot(true);
    busyTimer_.setInterval(busyAfter);
    connect(&busyTimer_, &QTimer::timeout, this, &InspectPage::showBusy);
    connect(worker_, &InspectWorker::finished, this, &InspectPage::show);
    connect(form_, &FormView::edited, this, &InspectPage::refreshCommand);
    connect(map_, &MapPanel::areaChosen, this, [this](int line) { choose(line, map_); });
    connect(map_, &MapPanel::widthWanted, this, [this](int width) {
        const int map = std::min(width, columns_->width() / 2);
        columns_->setSizes({columns_->width() - map, map});
    });
    connect(bytes_, &BytePanel::byteChosen, this, &InspectPage::chooseByte);
    connect(bytes_, &BytePanel::plainWanted, this, &InspectPage::showPlain);
    bytes_->setDescriber([this](qint64 offset) { return byteText(offset); });
    bytes_->setPlainPossible(false, {});
    refreshCommand();
}

InspectPage::~InspectPage() {
    context_.settings.setState(QLatin1String(rowState), rows_->saveState());
    context_.settings.setState(QLatin1String(columnState), columns_->saveState());
}

QWidget* InspectPage::makeStart() {
    auto* place =
        new DropPlace(tr("Open a file to look inside, or drop it here."),
                      tr("Images of all kinds, signed files, firmware: every file that the tool makes or reads. "
                         "Two files at once are compared."));
    QPushButton* open = makeButton(tr("&Open a File…"), "open");
    Theme::setFilled(*open);
    place->setButton(open);
    connect(open, &QPushButton::clicked, this, [this] {
        takeFiles({context_.dialogs.openFile(this, tr("Open"), jobs::PathRole::document, fileFilter())});
    });
    return place;
}

void InspectPage::makeVerdict() {
    QPushButton* compare = makeButton(tr("Compare &With…"), "compare");
    compare->setToolTip(tr("Shows what differs between this file and another one."));
    QPushButton* report = reportButton_;
    report->setToolTip(tr("Copies what qvora-inspect prints about the file."));
    verdict_->addButton(stopButton_);
    verdict_->addButton(keysButton_);
    verdict_->addButton(compare);
    verdict_->addButton(report);
    stopButton_->hide();
    keysButton_->hide();
    reportButton_->setEnabled(false);
    connect(stopButton_, &QPushButton::clicked, this, &InspectPage::stop);
    connect(keysButton_, &QPushButton::clicked, this, [this] {
        tabs_->setCurrentIndex(KeysTab);
        if (auto* field = form_->findChild<QWidget*>(missingField_)) {
            field->setFocus(Qt::OtherFocusReason);
        }
    });
    connect(compare, &QPushButton::clicked, this, [this] {
        const QString path =
            context_.dialogs.openFile(this, tr("Compare With"), jobs::PathRole::document, fileFilter());
        if (!path.isEmpty() && isReadable(path)) {
            compareWith(path);
        }
    });
    connect(report, &QPushButton::clicked, this, [this, report] {
        if (result_ != nullptr && result_->file != nullptr) {
            QApplication::clipboard()->setText(inspectReport(*result_));
            sayCopied(*report);
        }
    });
}

QWidget* InspectPage::makeContent() {
    rows_->setChildrenCollapsible(false);
    rows_->setHandleWidth(Theme::labelGap());
    rows_->addWidget(makeTree());
    rows_->addWidget(makeTabs());
    rows_->setSizes({Theme::groupGap() * 16, Theme::groupGap() * 14});
    columns_->setChildrenCollapsible(false);
    columns_->setHandleWidth(Theme::labelGap());
    columns_->addWidget(rows_);
    columns_->addWidget(map_);
    columns_->setStretchFactor(0, 1);
    rows_->restoreState(context_.settings.state(QLatin1String(rowState)));
    columns_->restoreState(context_.settings.state(QLatin1String(columnState)));

    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    auto* upper = new QVBoxLayout;
    upper->setContentsMargins(Theme::groupGap(), 0, Theme::groupGap(), Theme::labelGap());
    upper->setSpacing(Theme::labelGap());
    upper->addWidget(verdict_);
    upper->addWidget(columns_, 1);
    layout->addLayout(upper, 1);
    layout->addWidget(makeCommandBar());
    return content;
}

QWidget* InspectPage::makeTree() {
    tree_->setObjectName(QStringLiteral("tree"));
    tree_->setAccessibleName(tr("Contents of the file"));
    tree_->setModel(model_);
    tree_->setUniformRowHeights(true);
    tree_->setAlternatingRowColors(true);
    tree_->setSelectionBehavior(QAbstractItemView::SelectRows);
    tree_->setItemDelegateForColumn(InspectModel::Meaning, new MeaningDelegate(tree_));
    QHeaderView* header = tree_->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(InspectModel::Meaning, QHeaderView::Stretch);
    const int wide = tree_->fontMetrics().averageCharWidth();
    const QFontMetrics fixed(Theme::fixedFont());
    header->resizeSection(InspectModel::Name, wide * 28);
    header->resizeSection(InspectModel::Value, fixed.averageCharWidth() * 27);
    // The widest offset is that of a file of 4 GiB.
    const int number = fixed.horizontalAdvance(QStringLiteral("4294967296")) + Theme::labelGap();
    header->resizeSection(InspectModel::Offset, number);
    header->resizeSection(InspectModel::Size, number);
    header->setMinimumSectionSize(number);
    connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) { choose(model_->lineOf(current), tree_); });
    return tree_;
}

QWidget* InspectPage::makeTabs() {
    QTableView* checks = makeRowList(checks_, "checks", tr("Findings and checks"));
    const int wide = checks->fontMetrics().averageCharWidth();
    checks->setColumnWidth(CheckListModel::What, wide * 35);
    checks->setColumnWidth(CheckListModel::Where, wide * 26);
    checks->horizontalHeader()->setSectionResizeMode(CheckListModel::Outcome, QHeaderView::Stretch);
    QTableView* differences = makeRowList(differences_, "differences", tr("Differences"));
    differences->setColumnWidth(DifferenceModel::Meaning, wide * 34);
    differences->horizontalHeader()->setSectionResizeMode(DifferenceModel::What, QHeaderView::Stretch);
    QPushButton* end = makeButton(tr("End the Comparison"), "endComparison");
    auto* differenceLayout = new QVBoxLayout(differencePage_);
    differenceLayout->setContentsMargins(0, Theme::rowGap(), 0, 0);
    differenceLayout->addWidget(differences, 1);
    differenceLayout->addWidget(end, 0, Qt::AlignRight);
    auto* checkPage = new QWidget;
    auto* checkLayout = new QVBoxLayout(checkPage);
    checkLayout->setContentsMargins(0, Theme::rowGap(), 0, 0);
    checkLayout->addWidget(checks);
    auto* formPage = new QWidget;
    auto* formLayout = new QVBoxLayout(formPage);
    formLayout->setContentsMargins(0, Theme::labelGap(), 0, 0);
    formLayout->addWidget(form_);

    tabs_->setObjectName(QStringLiteral("tabs"));
    tabs_->setDocumentMode(true);
    tabs_->addTab(bytes_, tr("&Bytes"));
    tabs_->addTab(checkPage, tr("&Checks"));
    tabs_->addTab(formPage, tr("&Keys and More"));
    tabs_->addTab(differencePage_, tr("&Differences"));
    tabs_->tabBar()->setAccessibleName(tr("Details"));
    tabs_->setTabVisible(DifferencesTab, false);
    connect(checks->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { choose(checks_->lineOf(current.row()), nullptr); });
    connect(differences->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { choose(differences_->lineOf(current.row()), nullptr); });
    // Selecting a row shows its line in the tree; Enter shows its bytes.
    for (const QTableView* const list : {checks, differences}) {
        connect(list, &QTableView::activated, this, [this] { tabs_->setCurrentIndex(BytesTab); });
    }
    connect(end, &QPushButton::clicked, this, [this] { compareWith({}); });
    return tabs_;
}

QWidget* InspectPage::makeCommandBar() {
    auto* bar = new QWidget;
    bar->setAutoFillBackground(true);
    bar->setBackgroundRole(QPalette::Window);
    commandLine_->setObjectName(QStringLiteral("commandLine"));
    QPushButton* copy = makeButton(tr("Cop&y"), "copy");
    copy->setToolTip(tr("Copies the command line for a shell or a script."));
    copy->setAccessibleName(tr("Copy the command line"));
    Theme::setFilled(*runButton_);
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(Theme::groupGap(), Theme::labelGap(), Theme::groupGap(), Theme::labelGap());
    layout->addWidget(commandLine_, 1);
    layout->addWidget(copy, 0, Qt::AlignTop);
    layout->addWidget(runButton_, 0, Qt::AlignTop);
    connect(copy, &QPushButton::clicked, this, [this, copy] {
        QApplication::clipboard()->setText(commandLine_->line());
        sayCopied(*copy);
    });
    connect(runButton_, &QPushButton::clicked, this, &InspectPage::run);
    return bar;
}

QString InspectPage::fileFilter() const {
    return tr("All files (*)");
}

bool InspectPage::isReadable(const QString& path) {
    const QFileInfo file(path);
    const QString name = inspect::printable(path);
    // Reading a pipe or a device could block forever.
    const QString fault = !file.exists()       ? tr("There is no file “%1”.").arg(name)
                          : file.isDir()       ? tr("“%1” is a folder.").arg(name)
                          : !file.isFile()     ? tr("“%1” is no plain file.").arg(name)
                          : isTooLarge(file)   ? tr("“%1” is larger than 4 GiB; no image is.").arg(name)
                          : !file.isReadable() ? tr("You have no right to read “%1”.").arg(name)
                                               : QString();
    if (!fault.isEmpty()) {
        context_.dialogs.showFault(this, fault);
    }
    return fault.isEmpty();
}

bool InspectPage::openFile(const QString& path) {
    return openFileAs(path, QString());
}

bool InspectPage::openFileAs(const QString& path, const QString& kind) {
    if (!isReadable(path)) {
        return false;
    }
    path_ = QFileInfo(path).absoluteFilePath();
    other_.clear();
    tabs_->setTabVisible(DifferencesTab, false);
    bytes_->clearPlain();
    // Keep the keys, which often stay the same from file to file. These options belong to the previous file only.
    for (const char* const field : {"as", "payload", "payload-b", "firmware", "option-bytes", "module", "blob",
                                    "backup", "address", "mode", "app", "except-signature"}) {
        form_->setValues(QLatin1String(field), {});
    }
    if (!kind.isEmpty()) {
        form_->setValues(QStringLiteral("as"), {kind});
    }
    nextTab_ = -1;
    start(form_->openPoints().isEmpty());
    return true;
}

void InspectPage::takeFiles(const QStringList& paths) {
    if (paths.value(0).isEmpty() || !openFile(paths.first())) {
        return;
    }
    if (paths.size() > 1 && isReadable(paths.at(1))) {
        compareWith(paths.at(1));
    }
}

void InspectPage::compareWith(const QString& path) {
    other_ = path.isEmpty() ? QString() : QFileInfo(path).absoluteFilePath();
    tabs_->setTabVisible(DifferencesTab, !other_.isEmpty());
    nextTab_ = other_.isEmpty() ? -1 : DifferencesTab;
    start(form_->openPoints().isEmpty());
}

void InspectPage::run() {
    if (path_.isEmpty()) {
        return;
    }
    if (!form_->openPoints().isEmpty()) {
        tabs_->setCurrentIndex(KeysTab);
        form_->focusFirstOpenPoint();
        return;
    }
    nextTab_ = other_.isEmpty() ? ChecksTab : DifferencesTab;
    start(true);
}

void InspectPage::stop() {
    worker_->stop();
    busyTimer_.stop();
    if (isBusyShown_) {
        isBusyShown_ = false;
        stopButton_->hide();
        if (result_ == nullptr) {
            stack_->setCurrentIndex(0);
        }
        showVerdict();
    }
}

QHash<QString, QStringList> InspectPage::values() const {
    return form_->allValues();
}

InspectRequest InspectPage::request(bool withForm) const {
    const QHash<QString, QStringList> given = withForm ? values() : QHash<QString, QStringList>();
    InspectRequest request;
    request.verify = inspectArguments(QStringLiteral("verify"), given, {path_});
    request.show = inspectArguments(QStringLiteral("show"), given, {path_});
    if (!other_.isEmpty()) {
        request.compare = inspectArguments(QStringLiteral("diff"), given, {path_, other_});
    }
    request.wantsContents = bytes_->wantsPlain();
    return request;
}

QStringList InspectPage::shownArguments() const {
    const InspectRequest shown = request(true);
    return QStringList{QStringLiteral("qvora-inspect")} + (shown.compare.isEmpty() ? shown.verify : shown.compare);
}

void InspectPage::start(bool withForm) {
    worker_->start(request(withForm));
    busyTimer_.start();
    refreshCommand();
}

void InspectPage::refreshCommand() {
    for (const char* const field : {"key-b", "payload-b", "except-signature"}) {
        form_->setShown(QLatin1String(field), !other_.isEmpty());
    }
    runButton_->setText(other_.isEmpty() ? tr("Ve&rify") : tr("Compa&re"));
    commandLine_->setLine(jobs::shellQuoted(shownArguments()));
    if (!worker_->isRunning()) {
        showVerdict();
    }
}

void InspectPage::showBusy() {
    isBusyShown_ = true;
    stopButton_->show();
    keysButton_->hide();
    verdict_->setVerdict(
        {Sign::busy, tr("Reading and checking “%1”…").arg(inspect::printable(QFileInfo(path_).fileName())), {}, {}});
    stack_->setCurrentIndex(1);
}

void InspectPage::show(const std::shared_ptr<InspectResult>& result) {
    busyTimer_.stop();
    stopButton_->hide();
    isBusyShown_ = false;
    const bool isSame = result_ != nullptr && result_->request.verify.constLast() == result->request.verify.constLast();
    const int line = isSame ? std::max(1, model_->lineOf(tree_->currentIndex())) : 1;
    contents_.reset();
    if (!result->kept.contents.list.empty()) {
        contents_ = std::make_shared<inspect::Contents>();
        contents_->list.swap(result->kept.contents.list);
    }
    bytes_->setBytes({}, nullptr);
    result_ = result;
    const std::shared_ptr<const InspectTree> tree(result, &result->tree);
    std::array<QByteArrayView, 2> bytes;
    if (!result->kept.files.empty()) {
        bytes = {result->kept.files.front().bytes, result->kept.files.front().secondBytes};
    }
    model_->setTree(result->file == nullptr ? nullptr : tree, bytes);
    map_->setBlocks(tree, result->blocks);
    checks_->setResult(result);
    differences_->setResult(result->comparison.files.size() == 2 ? result : nullptr);
    stack_->setCurrentIndex(1);
    tree_->expandToDepth(0);
    if (result->file != nullptr) {
        choose(std::min(line, static_cast<int>(result->tree.lines().size()) - 1), nullptr);
    }
    if (nextTab_ >= 0) {
        tabs_->setCurrentIndex(nextTab_);
        nextTab_ = -1;
    }
    showVerdict();
}

void InspectPage::showVerdict() {
    if (result_ == nullptr) {
        return;
    }
    const bool isCompared = !result_->request.compare.isEmpty();
    const bool isJudged = result_->file != nullptr && result_->fault.isEmpty();
    const inspect::Judgement judgement = isJudged ? inspect::judge(*result_->file) : inspect::Judgement();
    InspectVerdict verdict = isCompared ? comparisonVerdict(*result_) : fileVerdict(*result_);
    const InspectRequest now = request(true);
    if (now.verify != result_->request.verify || now.compare != result_->request.compare) {
        verdict.detail.prepend(isCompared ? tr("The fields have changed since: compare again. ")
                                          : tr("The fields have changed since: verify again. "));
    }
    verdict_->setVerdict(verdict);
    missingField_ = verdict.missingField;
    keysButton_->setText(missingField_ == QLatin1String("as") ? tr("Choose a Format") : tr("Give Keys"));
    keysButton_->setVisible(!missingField_.isEmpty());
    const bool isPlainPossible =
        isJudged && inspect::isOpen(*result_->file) && judgement.verdict != inspect::Verdict::wrong;
    bytes_->setPlainPossible(isPlainPossible,
                             isPlainPossible ? tr("Shows the plain bytes of the chosen area instead of the file's.")
                                             : tr("Plain contents are shown once every tag is good."));
    reportButton_->setEnabled(result_->file != nullptr);
    const int bad = judgement.bad;
    tabs_->setTabText(ChecksTab, !isJudged || checks_->rowCount() == 0 ? tr("&Checks")
                                 : bad > 0                             ? tr("&Checks (%1 bad)").arg(bad)
                                                                       : tr("&Checks (%1)").arg(checks_->rowCount()));
    tabs_->setTabText(DifferencesTab, tr("&Differences (%1)").arg(differences_->rowCount()));
}

void InspectPage::showPlain(bool wanted) {
    if (wanted) {
        start(form_->openPoints().isEmpty());
    } else {
        contents_.reset();
        showBytesOf(model_->lineOf(tree_->currentIndex()));
    }
}

const inspect::Content* InspectPage::contentOf(int line) const {
    if (contents_ == nullptr || line <= 0) {
        return nullptr;
    }
    const InspectLine& chosen = result_->tree.line(line);
    if (chosen.isInContent) {
        const bool isOfFile = chosen.kind == InspectLineKind::content && chosen.description == result_->file;
        return isOfFile && chosen.item < contents_->list.size() ? &contents_->list[chosen.item] : nullptr;
    }
    const bool isContent =
        chosen.kind == InspectLineKind::range && chosen.description->ranges[chosen.item].role == inspect::Role::payload;
    if (chosen.kind != InspectLineKind::part && chosen.kind != InspectLineKind::file && !isContent) {
        return nullptr;
    }
    // A file without parts has one content, which belongs to no part.
    const inspect::Part* const part = inspect::partOf(*chosen.description, chosen.part);
    const auto content =
        std::find_if(contents_->list.begin(), contents_->list.end(), [part](const inspect::Content& candidate) {
            return part == nullptr ? candidate.part == 0
                                   : candidate.part == part->index && candidate.letter == part->letter &&
                                         (!candidate.hasAddress || candidate.address == part->address);
        });
    return content == contents_->list.end() ? nullptr : &*content;
}

void InspectPage::showBytesOf(int line) {
    if (result_ == nullptr || result_->kept.files.empty() || line <= 0) {
        bytes_->setBytes({}, nullptr);
        return;
    }
    const InspectLine& chosen = result_->tree.line(line);
    if (const inspect::Content* const content = contentOf(line)) {
        bytes_->setBytes(content->bytes, contents_, content->hasAddress ? content->address : 0);
        bytes_->choose(0, 0);
        bytes_->describe(
            tr("plain content of %1, %2")
                .arg(result_->tree.path(line), inspect::bytesText(static_cast<quint64>(content->bytes.size()))));
        return;
    }
    const inspect::Opened& opened = result_->kept.files.front();
    bytes_->setBytes(chosen.file == 0 ? opened.bytes : opened.secondBytes, result_);
    // Selecting all bytes would show nothing.
    const bool isAll = chosen.kind == InspectLineKind::file && chosen.parent == 0;
    bytes_->choose(chosen.offset, isAll ? 0 : chosen.size);
    const QString path = result_->tree.path(line);
    bytes_->describe(
        chosen.offset < 0 ? tr("%1, which has no bytes of its own").arg(path)
        : chosen.kind == InspectLineKind::finding
            ? tr("%1 at byte %2").arg(path, QString::number(chosen.offset))
            : tr("%1, %2 from byte %3 on")
                  .arg(path, inspect::bytesText(static_cast<quint64>(chosen.size)), QString::number(chosen.offset)));
}

/// Shows a line in all views except `from`, where it was chosen.
void InspectPage::choose(int line, const QWidget* from) {
    if (isChoosing_ || line <= 0 || result_ == nullptr) {
        return;
    }
    const QScopedValueRollback<bool> guard(isChoosing_, true);
    if (from != tree_) {
        const QModelIndex index = model_->indexOf(line);
        tree_->setCurrentIndex(index);
        tree_->scrollTo(index);
    }
    if (from != bytes_) {
        showBytesOf(line);
    }
    if (from != map_) {
        const InspectLine& chosen = result_->tree.line(line);
        map_->choose(chosen.isInContent                     ? 0
                     : chosen.kind == InspectLineKind::part ? line
                     : chosen.part > 0                      ? chosen.parent
                                                            : 0);
    }
}

int InspectPage::lineOfByte(qint64 offset) const {
    const int current = model_->lineOf(tree_->currentIndex());
    if (result_ == nullptr || current <= 0 || contentOf(current) != nullptr) {
        return 0;
    }
    return result_->tree.lineAt(result_->tree.line(current).file, offset);
}

QString InspectPage::byteText(qint64 offset) const {
    const int line = lineOfByte(offset);
    return line == 0 ? QString()
                     : tr("byte %1: %2, %3")
                           .arg(offset)
                           .arg(result_->tree.path(line),
                                inspect::bytesText(static_cast<quint64>(result_->tree.line(line).size)));
}

void InspectPage::chooseByte(qint64 offset) {
    const int line = lineOfByte(offset);
    if (line > 0) {
        choose(line, bytes_);
        bytes_->mark(result_->tree.line(line).offset, result_->tree.line(line).size);
        bytes_->describe(byteText(offset));
    }
}

}  // namespace desktop
