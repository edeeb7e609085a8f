#include "desktop/secrets/SecretsPage.h"

#include "desktop/page/Dialogs.h"
#include "desktop/page/Settings.h"
#include "desktop/secrets/OtpMapPanel.h"
#include "desktop/secrets/OtpMapView.h"
#include "desktop/secrets/SecretEditor.h"
#include "desktop/secrets/SecretsFooter.h"
#include "desktop/secrets/SecretsModel.h"
#include "jobs/counted.h"

#include "desktop/look/plainTip.h"
#include "images/imageLayout.h"

#include <QComboBox>
#include <QEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

constexpr const char* deviceState = "secretsDevice";
constexpr const char* splitterState = "secretsEditor";

}  // namespace

SecretsPage::SecretsPage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      deviceBox_(new QComboBox),
      model_(new SecretsModel(this)),
      table_(new QTableView),
      empty_(new QLabel(tr("Add an item, open a secrets document,\nor read an image."), table_)),
      remove_(new QPushButton(tr("&Remove"))),
      duplicate_(new QPushButton(tr("Dup&licate"))),
      up_(new QPushButton(tr("&Up"))),
      down_(new QPushButton(tr("Do&wn"))),
      editor_(new SecretEditor(document_, context.dialogs)),
      footer_(new SecretsFooter) {
    auto* body = new QVBoxLayout;
    body->setContentsMargins(Theme::groupGap(), 0, Theme::groupGap(), Theme::labelGap());
    body->addWidget(makeDeviceRow());
    body->addSpacing(Theme::rowGap());
    body->addWidget(makeBody(), 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    layout->addLayout(body, 1);
    layout->addWidget(footer_);

    connect(footer_, &SecretsFooter::makeRequested, this, &SecretsPage::run);
    connect(footer_, &SecretsFooter::inspectRequested, this,
            [this] { emit handOver(QStringLiteral("inspect"), imagePath_, imageKind_); });
    setAcceptDrops(true);
    connectDocument();
    takeDevices({});
    searchDevices();
}

SecretsPage::~SecretsPage() {
    worker_.waitForDone();         // its jobs report their results to this page
    document_.blockSignals(true);  // its stack is emptied later, when the listening window is gone
    delete editor_;                // it refers to the document, which is destroyed before the page's child widgets
}

QWidget* SecretsPage::makeDeviceRow() {
    auto* row = new QWidget;
    auto* label = new QLabel(tr("&Device"));
    label->setBuddy(deviceBox_);
    deviceBox_->setObjectName(QStringLiteral("device"));
    deviceBox_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    deviceBox_->setMinimumContentsLength(36);
    auto* read = new QPushButton(tr("Read &Image…"));
    read->setObjectName(QStringLiteral("readImage"));
    read->setToolTip(tr("Shows the records of a secrets image as the items of a new document."));
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::labelGap());
    layout->addWidget(label);
    layout->addWidget(deviceBox_);
    layout->addStretch(1);
    layout->addWidget(read);
    connect(read, &QPushButton::clicked, this, &SecretsPage::readImage);
    connect(deviceBox_, &QComboBox::activated, this, [this] {
        context_.settings.setState(QLatin1String(deviceState), QByteArray::number(device().deviceId));
        showDevice();
    });
    return row;
}

QWidget* SecretsPage::makeTable() {
    auto* widget = new QWidget;
    table_->setObjectName(QStringLiteral("items"));
    table_->setAccessibleName(tr("Items of the document"));
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setTabKeyNavigation(false);
    table_->setShowGrid(false);
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setDefaultSectionSize(QFontMetrics(font()).height() + Theme::rowGap());
    table_->horizontalHeader()->setHighlightSections(false);
    const int digit = QFontMetrics(Theme::fixedFont()).horizontalAdvance(u'0');
    const int widths[] = {28, 11, 10, 0, 13};  // in digits; the content column gets the rest
    for (int column = 0; column < model_->columnCount(); ++column) {
        table_->setColumnWidth(column, digit * widths[column]);
    }
    table_->horizontalHeader()->setMinimumSectionSize(digit * 10);
    table_->horizontalHeader()->setSectionResizeMode(3, QHeaderView::Stretch);
    empty_->setForegroundRole(QPalette::PlaceholderText);
    empty_->setAlignment(Qt::AlignCenter);
    auto* inside = new QVBoxLayout(table_->viewport());
    inside->addWidget(empty_);
    auto* removeKey = new QShortcut(QKeySequence::Delete, table_);
    removeKey->setContext(Qt::WidgetShortcut);
    connect(removeKey, &QShortcut::activated, remove_, &QPushButton::click);
    connect(table_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { choose(current.row()); });

    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, Theme::rowGap());
    layout->addWidget(table_, 1);
    layout->addLayout(makeTableButtons());
    return widget;
}

QHBoxLayout* SecretsPage::makeTableButtons() {
    auto* addButton = new QPushButton(tr("&Add"));
    auto* row = new QHBoxLayout;
    const std::pair<QPushButton*, const char*> buttons[] = {
        {addButton, "add"}, {remove_, "remove"}, {duplicate_, "duplicate"}, {up_, "up"}, {down_, "down"}};
    for (const auto& [button, name] : buttons) {
        button->setObjectName(QLatin1String(name));
        row->addWidget(button);
    }
    row->addStretch(1);
    connect(addButton, &QPushButton::clicked, this, &SecretsPage::add);
    connect(remove_, &QPushButton::clicked, this, [this] {
        if (row_ >= 0) {
            document_.remove(row_, tr("Remove Item"));
        }
    });
    connect(duplicate_, &QPushButton::clicked, this, &SecretsPage::duplicate);
    connect(up_, &QPushButton::clicked, this, [this] { move(-1); });
    connect(down_, &QPushButton::clicked, this, [this] { move(1); });
    return row;
}

QWidget* SecretsPage::makeBody() {
    auto* map = new OtpMapPanel;
    map_ = &map->view();
    connect(map_, &OtpMapView::itemChosen, this, &SecretsPage::choose);
    connect(map_, &OtpMapView::freeWordChosen, this, &SecretsPage::addFor);
    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins({});
    leftLayout->addWidget(makeTable(), 1);
    leftLayout->addWidget(map, 1);

    auto* area = new QScrollArea;
    editor_->setContentsMargins(0, 0, Theme::rowGap(), 0);
    area->setWidget(editor_);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setMinimumWidth(editor_->minimumSizeHint().width() + area->verticalScrollBar()->sizeHint().width());

    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(area);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(Theme::groupGap());
    splitter->setStretchFactor(0, 1);
    splitter->setSizes({Theme::groupGap() * 41, Theme::groupGap() * 28});
    splitter->restoreState(context_.settings.state(QLatin1String(splitterState)));
    connect(splitter, &QSplitter::splitterMoved, this,
            [this, splitter] { context_.settings.setState(QLatin1String(splitterState), splitter->saveState()); });
    return splitter;
}

void SecretsPage::connectDocument() {
    const auto look = [this](qsizetype row) {
        row_ = row;
        if (!isBusy_) {  // the shown result belongs to an older version of the document
            footer_->showResult(StatusMark::Kind::none, QString());
            footer_->offerInspect(false);
        }
        refresh();
        table_->setCurrentIndex(model_->index(static_cast<int>(row), 0));
    };
    connect(&document_, &SecretsDocument::wasReset, this, look);
    connect(&document_, &SecretsDocument::itemChanged, this, look);
    connect(&document_, &SecretsDocument::modifiedChanged, this, &Page::stateChanged);
    connect(editor_, &SecretEditor::showsDataChanged, this, &SecretsPage::refresh);
}

bool SecretsPage::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) {
        refresh();  // the files may have changed in the meantime
    } else if (event->type() == QEvent::Show && deviceFolder_ != context_.settings.deviceFolder()) {
        searchDevices();
    }
    return Page::event(event);
}

/// Searches on another thread, because reading many descriptions takes a while. Devices without a description work at
/// once.
void SecretsPage::searchDevices() {
    deviceFolder_ = context_.settings.deviceFolder();
    worker_.start([this, folder = deviceFolder_] {
        const devices::DeviceSearch search = devices::findDevices(devices::shippedDescriptions(), folder);
        QMetaObject::invokeMethod(this, [this, search, folder] {
            if (folder == deviceFolder_) {  // otherwise a newer search is running or has finished
                takeDevices(search);
            }
        });
    });
}

void SecretsPage::takeDevices(const devices::DeviceSearch& search) {
    devices_.clear();
    for (const devices::FoundDevice& found : search.devices) {
        if (found.device.fuses.wordCount > 0) {
            devices_ += found.device;
        }
    }
    for (const std::uint32_t id : {0x500U, 0x501U, recordsDevice}) {
        if (std::none_of(devices_.begin(), devices_.end(),
                         [id](const devices::Device& one) { return one.deviceId == id; })) {
            devices_ += plainDevice(id);
        }
    }
    const std::uint32_t last = context_.settings.state(QLatin1String(deviceState)).toUInt();
    deviceBox_->clear();
    for (const devices::Device& one : std::as_const(devices_)) {
        const QString id = secretNumber(one.deviceId);
        deviceBox_->addItem(one.name.isEmpty() ? tr("%1  without a description").arg(id)
                                               : tr("%1  %2").arg(id, one.name));
        if (one.deviceId == last) {
            deviceBox_->setCurrentIndex(deviceBox_->count() - 1);
        }
    }
    setPlainTip(*deviceBox_, search.remarks.join(u'\n'));
    showDevice();
}

const devices::Device& SecretsPage::device() const {
    return devices_.at(std::max(0, deviceBox_->currentIndex()));
}

void SecretsPage::showDevice() {
    map_->setFuses(device().fuses);
    editor_->setFuses(device().fuses);
    refresh();
}

void SecretsPage::choose(qsizetype row) {
    if (row == row_) {
        return;
    }
    row_ = row;
    if (table_->currentIndex().row() != row) {
        table_->setCurrentIndex(model_->index(static_cast<int>(row), 0));
    }
    refresh();
}

void SecretsPage::refresh() {
    const QList<SecretItem>& items = document_.items();
    const devices::DeviceFuses& fuses = device().fuses;
    plan_ = planSecrets(device(), items, document_.folder());
    showTable();
    QStringList names;
    for (const devices::OtpItem& place : plan_.places) {
        names += place.name;
    }
    map_->setMap(plan_.map, names);
    map_->setChosen(row_ < 0 ? devices::OtpItem() : plan_.places.at(row_));
    if (row_ < 0) {
        editor_->showItem(-1, {}, {});
    } else {
        editor_->showItem(row_, plan_.sizes.at(row_), placeVerdict(plan_, row_));
    }
    remove_->setEnabled(row_ >= 0);
    duplicate_->setEnabled(row_ >= 0);
    up_->setEnabled(row_ > 0);
    down_->setEnabled(row_ >= 0 && row_ + 1 < items.size());
    footer_->showRemarks({collisionsText(plan_), misplacedText(plan_), unusableText(plan_), missingText(plan_, fuses)},
                         !items.isEmpty());
}

void SecretsPage::showTable() {
    const QString kinds[] = {tr("Words"), tr("Numbers"), tr("File")};
    QList<SecretRow> rows;
    for (qsizetype i = 0; i < plan_.places.size(); ++i) {
        const SecretItem& item = document_.items().at(i);
        const devices::OtpItem& place = plan_.places.at(i);
        const jobs::Verdict& open = plan_.open.at(i);
        SecretRow row;
        row.name = place.name;
        row.place = wordRange(place.first, place.end());
        row.kind = kinds[static_cast<int>(secretKind(item))];
        row.source = plan_.sizes.at(i).data.kind == jobs::Verdict::Kind::missing ? tr("to be filled in")
                     : item.isFile || editor_->showsData()                       ? shownLine(item.PathOrWord)
                                                                                 : QString(8, u'•');
        row.protection =
            QStringLiteral("0x%1").arg(protectionWord(item) & secretRecord::protectionMask, 8, 16, QLatin1Char('0'));
        if (!plan_.faults.at(i).isEmpty()) {
            row.fault = plan_.faults.at(i);
            row.place += QStringLiteral(" ✕");  // don't mark the fault by colour alone
        } else if (open.kind == jobs::Verdict::Kind::fault) {
            row.fault = open.text;
            row.source += QStringLiteral(" ✕");
        }
        rows += row;
    }
    model_->setRows(rows);
    empty_->setVisible(rows.isEmpty());
}

QUndoStack* SecretsPage::undoStack() {
    return &document_.undoStack();
}

QString SecretsPage::documentName() const {
    return document_.path().isEmpty() ? tr("Untitled") : QFileInfo(document_.path()).fileName();
}

QString SecretsPage::fileFilter() const {
    return tr("Secrets documents (*.json);;All files (*)");
}

bool SecretsPage::isModified() const {
    return document_.isModified();
}

bool SecretsPage::openFile(const QString& path) {
    QString fault;
    if (!document_.load(path, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    mark_.note(path);
    editor_->hideData();
    return true;
}

bool SecretsPage::writeTo(const QString& path) {
    QString fault;
    if (!document_.save(path, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    mark_.note(path);
    refresh();  // relative paths start from the document's folder
    return true;
}

bool SecretsPage::save() {
    return document_.path().isEmpty() ? saveAs() : mayReplace() && writeTo(document_.path());
}

bool SecretsPage::saveAs() {
    const QString proposed = document_.path().isEmpty() ? tr("secrets.json") : documentName();
    const QString path =
        context_.dialogs.saveFile(this, tr("Save Secrets Document"), jobs::PathRole::document, fileFilter(), proposed);
    return !path.isEmpty() && writeTo(path);
}

void SecretsPage::insertNew(const devices::FuseWords& words, bool isNamed) {
    if (const QString fault = document_.fullFault(); !fault.isEmpty()) {
        context_.dialogs.showFault(this, fault);
        return;
    }
    NewSecret secret;
    secret.name = isNamed ? words.name : tr("New item");
    secret.index = words.index;
    secret.protection = words.protection;
    secret.isFile = words.count > 1;
    secret.pathOrWord = secret.isFile ? QString() : QStringLiteral("0x00000000");
    secret.isMandatory = isNamed && !words.mayBeLeftOut;
    secret.expectedSize = secret.isFile ? static_cast<std::int32_t>(words.count * otpWordSize) : -1;
    document_.insert(row_ + 1, secretItemText(device().fuses, secret), tr("Add Item"));
}

/// Adds an item for the first missing words, otherwise for the first free words.
void SecretsPage::add() {
    const QList<devices::FuseWords>& fuses = device().fuses.words;
    if (!plan_.map.missing.isEmpty()) {
        insertNew(fuses.at(plan_.map.missing.constFirst()), true);
        return;
    }
    const auto isFree = [this](const devices::FuseWords& words) {
        return std::all_of(plan_.map.words.begin() + words.index, plan_.map.words.begin() + words.end(),
                           [](const devices::OtpWord& word) { return word.item < 0; });
    };
    const auto found = std::find_if(fuses.begin(), fuses.end(), isFree);
    if (found != fuses.end()) {
        insertNew(*found, true);
    } else {
        const auto word = std::find_if(plan_.map.words.begin(), plan_.map.words.end(),
                                       [](const devices::OtpWord& w) { return w.item < 0; });
        devices::FuseWords free;
        free.index = word == plan_.map.words.end() ? 0 : static_cast<std::uint32_t>(word - plan_.map.words.begin());
        insertNew(free, false);
    }
}

void SecretsPage::addFor(std::uint32_t word) {
    const qsizetype fuse = devices::fuseAt(device().fuses, word);
    if (fuse >= 0) {
        insertNew(device().fuses.words.at(fuse), true);
        return;
    }
    devices::FuseWords free;
    free.index = word;
    insertNew(free, false);
}

void SecretsPage::duplicate() {
    if (const QString fault = document_.fullFault(); !fault.isEmpty()) {
        context_.dialogs.showFault(this, fault);
    } else if (row_ >= 0) {
        document_.insert(row_ + 1, document_.itemText(row_), tr("Duplicate Item"));
    }
}

void SecretsPage::move(qsizetype steps) {
    if (row_ >= 0 && row_ + steps >= 0 && row_ + steps < document_.items().size()) {
        document_.move(row_, row_ + steps, tr("Move Item"));
    }
}

void SecretsPage::run() {
    if (isBusy_) {
        return;
    }
    footer_->offerInspect(false);
    const SecretsOpenPoint open = secretsOpenPoint(device().deviceId, document_.items(), document_.folder());
    if (!open.text.isEmpty()) {
        footer_->showResult(StatusMark::Kind::bad, open.text);
        if (open.item >= 0) {
            choose(open.item);
            editor_->focusData();
        }
        return;
    }
    footer_->showResult(StatusMark::Kind::none, QString());
    const QString path =
        context_.dialogs.saveFile(this, tr("Make Secrets Image"), jobs::PathRole::output,
                                  tr("Secrets images (*.bin);;All files (*)"), QStringLiteral("secrets.bin"));
    if (path.isEmpty()) {
        return;
    }
    isBusy_ = true;
    footer_->setBusy(true);
    footer_->showResult(StatusMark::Kind::running, tr("Making “%1”…").arg(QFileInfo(path).fileName()));
    emit stateChanged();
    worker_.start([this, id = device().deviceId, items = document_.items(), folder = document_.folder(),
                   documentPath = document_.path(), path] {
        const SecretsMade made = makeSecretsImage(id, items, folder, documentPath, path);
        QMetaObject::invokeMethod(this, [this, id, made, path] { finishImage(made, path, hasFixedLayout(id)); });
    });
}

void SecretsPage::finishImage(const SecretsMade& made, const QString& path, bool isOfFixedLayout) {
    isBusy_ = false;
    footer_->setBusy(false);
    if (made.words < 0) {
        footer_->showResult(StatusMark::Kind::bad, tr("No image was made. %1").arg(made.fault));
    } else {
        const QString words = jobs::counted(made.words, tr("1 OTP word"), tr("%1 OTP words"));
        footer_->showResult(made.warning.isEmpty() ? StatusMark::Kind::good : StatusMark::Kind::open,
                            tr("%1 made: %2. %3").arg(QFileInfo(path).fileName(), words, made.warning).trimmed());
    }
    imagePath_ = path;
    imageKind_ = isOfFixedLayout ? QStringLiteral("secretsWords") : QStringLiteral("secretsRecords");
    footer_->offerInspect(made.words >= 0);
    emit stateChanged();
}

void SecretsPage::readImage() {
    if (isBusy_ || !mayLose()) {
        return;
    }
    const QString path = context_.dialogs.openFile(this, tr("Read Secrets Image"), jobs::PathRole::output,
                                                   tr("Secrets images (*.bin);;All files (*)"));
    if (!path.isEmpty()) {
        readImageAt(path);
    }
}

/// Opens a JSON file as a document and reads any other file as an image.
void SecretsPage::takeFiles(const QStringList& paths) {
    if (paths.constFirst().endsWith(QLatin1String(".json"), Qt::CaseInsensitive)) {
        Page::takeFiles(paths);
    } else if (mayLose()) {
        readImageAt(paths.constFirst());
    }
}

void SecretsPage::readImageAt(const QString& path) {
    QByteArrayList items;
    QString fault;
    QString remark;
    footer_->offerInspect(false);
    if (!readSecretsImage(device(), path, items, fault, remark)) {
        footer_->showResult(StatusMark::Kind::bad, tr("No image was read. %1").arg(fault));
        return;
    }
    editor_->hideData();
    document_.clear(items);
    const QString count = jobs::counted(items.size(), tr("1 item"), tr("%1 items"));
    footer_->showResult(
        StatusMark::Kind::good,
        tr("%1 read: %2 in a new document. %3").arg(QFileInfo(path).fileName(), count, remark).trimmed());
}

}  // namespace desktop
