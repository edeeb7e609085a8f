#include "desktop/SecretsPage.h"

#include "desktop/Dialogs.h"
#include "desktop/OtpMapView.h"
#include "desktop/SecretEditor.h"
#include "desktop/SecretsModel.h"
#include "desktop/Settings.h"
#include "desktop/ToneLabel.h"

#include "images/imageLayout.h"

#include <QComboBox>
#include <QEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QTableView>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr const char* deviceState = "secretsDevice";
constexpr const char* splitterState = "secretsEditor";
constexpr qsizetype mostRemarks = 3;  // told at once

/// A colour of the map beside its meaning.
class MapKey : public QWidget {
  public:
    MapKey(OtpUse use, const QString& text) : use_(use), text_(text) {
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    }

    [[nodiscard]] QSize sizeHint() const override {
        const QFontMetrics metrics(font());
        return {metrics.horizontalAdvance(text_) + metrics.height() + Theme::rowGap() + 1, metrics.height() + 2};
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        const int side = QFontMetrics(font()).height() - 4;
        const QRect box(0, (height() - side) / 2, side, side);
        if (use_ != OtpUse::undescribed) {
            painter.fillRect(box, Theme::color(use_ == OtpUse::collision ? ThemeColor::mapFault
                                               : use_ == OtpUse::used    ? ThemeColor::mapUsed
                                                                         : ThemeColor::mapBlock));
        }
        if (use_ == OtpUse::collision) {
            painter.fillRect(box, QBrush(Theme::color(ThemeColor::fault), Qt::BDiagPattern));
        }
        painter.setPen(Theme::color(use_ == OtpUse::undescribed ? ThemeColor::line : ThemeColor::quiet));
        painter.drawRect(box);
        painter.setPen(Theme::color(ThemeColor::quiet));
        painter.drawText(rect().adjusted(side + Theme::rowGap(), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, text_);
    }

  private:
    OtpUse use_;
    QString text_;
};

void say(ToneLabel* label, ThemeColor tone, const QString& text) {
    label->setTone(tone);
    label->setText(text);
}

/// One without a description: its words have no names.
Device plainDevice(std::uint32_t deviceId) {
    Device device;
    device.deviceId = deviceId;
    device.fuses.wordCount = highestOtpWord(deviceId) + 1;
    return device;
}

QString wordRange(std::uint64_t first, std::uint64_t end) {
    return end <= first + 1 ? QString::number(first) : QStringLiteral("%1–%2").arg(first).arg(end - 1);
}

QLabel* title(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

}  // namespace

SecretsPage::SecretsPage(PageContext& context, QWidget* parent)
    : Page(parent),
      context_(context),
      deviceBox_(new QComboBox),
      model_(new SecretsModel(this)),
      table_(new QTableView),
      empty_(new QLabel(tr("Add an item, open a secrets document,\nor read an image."), table_)),
      remove_(new QPushButton(tr("&Remove"))),
      duplicate_(new QPushButton(tr("Dup&licate"))),
      up_(new QPushButton(tr("&Up"))),
      down_(new QPushButton(tr("Do&wn"))),
      mapView_(new OtpMapView),
      wordInfo_(new ToneLabel(ThemeColor::quiet)),
      editor_(new SecretEditor(document_, context.dialogs)),
      collisions_(new ToneLabel(ThemeColor::quiet)),
      missing_(new ToneLabel(ThemeColor::quiet)),
      result_(new ToneLabel(ThemeColor::quiet)),
      inspect_(new QPushButton(tr("Inspect"))),
      readButton_(new QPushButton(tr("Read &Image…"))),
      makeButton_(new QPushButton(tr("&Make Image…"))) {
    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins({});
    leftLayout->addWidget(makeTable(), 1);
    leftLayout->addLayout(makeTableButtons());
    leftLayout->addSpacing(Theme::rowGap());
    leftLayout->addWidget(makeMap(), 1);

    auto* area = new QScrollArea;
    area->setWidget(editor_);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setMinimumWidth(editor_->minimumSizeHint().width() + area->verticalScrollBar()->sizeHint().width());
    editor_->setContentsMargins(0, 0, Theme::rowGap(), 0);

    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(area);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(Theme::groupGap());
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    splitter->restoreState(context_.settings.state(QLatin1String(splitterState)));
    connect(splitter, &QSplitter::splitterMoved, this,
            [this, splitter] { context_.settings.setState(QLatin1String(splitterState), splitter->saveState()); });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::groupGap(), Theme::rowGap(), Theme::groupGap(), Theme::labelGap());
    layout->setSpacing(Theme::labelGap());
    layout->addWidget(splitter, 1);
    layout->addWidget(makeFooter());

    connectDocument();
    findDevices();
    showDevice();
}

SecretsPage::~SecretsPage() {
    worker_.waitForDone();         // it tells this page how it went
    document_.blockSignals(true);  // its stack is emptied when the window that listens has gone
}

void SecretsPage::findDevices() {
    const DeviceSearch search = ::findDevices(shippedDescriptions(), context_.settings.deviceFolder());
    for (const FoundDevice& found : search.devices) {
        if (found.device.fuses.wordCount > 0) {
            devices_ += found.device;
        }
    }
    for (const std::uint32_t id : {0x500U, 0x501U, recordsDevice}) {
        if (std::none_of(devices_.begin(), devices_.end(), [id](const Device& one) { return one.deviceId == id; })) {
            devices_ += plainDevice(id);
        }
    }
    const std::uint32_t last = context_.settings.state(QLatin1String(deviceState)).toUInt();
    for (const Device& one : qAsConst(devices_)) {
        const QString id = secretNumber(one.deviceId);
        deviceBox_->addItem(one.name.isEmpty() ? tr("%1  without a description").arg(id)
                                               : tr("%1  %2").arg(id, one.name));
        if (one.deviceId == last) {
            deviceBox_->setCurrentIndex(deviceBox_->count() - 1);
        }
    }
    deviceBox_->setToolTip(Qt::convertFromPlainText(search.remarks.join(u'\n')));
    connect(deviceBox_, &QComboBox::activated, this, [this] {
        context_.settings.setState(QLatin1String(deviceState), QByteArray::number(device().deviceId));
        showDevice();
    });
}

QWidget* SecretsPage::makeTable() {
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins({});
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(tr("&Device:"));
    label->setBuddy(deviceBox_);
    deviceBox_->setObjectName(QStringLiteral("device"));
    deviceBox_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    deviceBox_->setMinimumContentsLength(30);
    row->addWidget(label);
    row->addSpacing(Theme::rowGap());
    row->addWidget(deviceBox_);
    row->addStretch(1);
    layout->addLayout(row);

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
    table_->horizontalHeader()->setStretchLastSection(false);
    const int digit = QFontMetrics(Theme::fixedFont()).horizontalAdvance(u'0');
    const int widths[] = {0, digit * 9, digit * 10, digit * 16, digit * 13};
    for (int column = 1; column < model_->columnCount(); ++column) {
        table_->setColumnWidth(column, widths[column]);
    }
    table_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    layout->addWidget(table_, 1);

    empty_->setForegroundRole(QPalette::PlaceholderText);
    empty_->setAlignment(Qt::AlignCenter);
    auto* inside = new QVBoxLayout(table_->viewport());
    inside->addWidget(empty_);
    auto* removeKey = new QShortcut(QKeySequence::Delete, table_);
    removeKey->setContext(Qt::WidgetShortcut);
    connect(removeKey, &QShortcut::activated, remove_, &QPushButton::click);
    connect(table_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { choose(current.row()); });
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

QWidget* SecretsPage::makeMap() {
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins({});
    auto* keys = new QHBoxLayout;
    keys->setSpacing(Theme::labelGap());
    keys->addWidget(title(tr("OTP words")));
    keys->addStretch(1);
    const std::pair<OtpUse, QString> uses[] = {{OtpUse::used, tr("filled")},
                                               {OtpUse::free, tr("free")},
                                               {OtpUse::undescribed, tr("not described")},
                                               {OtpUse::collision, tr("collision")}};
    for (const auto& [use, text] : uses) {
        keys->addWidget(new MapKey(use, text));
    }
    layout->addLayout(keys);

    mapView_->setObjectName(QStringLiteral("map"));
    mapView_->setAccessibleName(tr("Map of the OTP words"));
    auto* area = new QScrollArea;
    area->setWidget(mapView_);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(area, 1);

    wordInfo_->setObjectName(QStringLiteral("wordInfo"));
    wordInfo_->setWordWrap(false);
    wordInfo_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    layout->addWidget(wordInfo_);
    connect(mapView_, &OtpMapView::pointedAt, this, [this](const QString& told) {
        say(wordInfo_, ThemeColor::quiet,
            told.isEmpty() ? tr("Point at a word, or go to it with the arrow keys.") : told);
        mapView_->setAccessibleDescription(told);
    });
    connect(mapView_, &OtpMapView::cursorMoved, area,
            [area](const QRect& cell) { area->ensureVisible(cell.center().x(), cell.center().y(), 0, cell.height()); });
    connect(mapView_, &OtpMapView::itemChosen, this, &SecretsPage::choose);
    connect(mapView_, &OtpMapView::freeWordChosen, this, &SecretsPage::addFor);
    return widget;
}

QWidget* SecretsPage::makeFooter() {
    auto* widget = new QWidget;
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::rowGap());
    auto* texts = new QVBoxLayout;
    texts->setSpacing(Theme::rowGap() / 3);
    const std::pair<ToneLabel*, const char*> labels[] = {
        {collisions_, "collisions"}, {missing_, "missing"}, {result_, "result"}};
    for (const auto& [label, name] : labels) {
        label->setObjectName(QLatin1String(name));
        label->hide();
        texts->addWidget(label);
    }
    layout->addLayout(texts, 1);
    inspect_->setObjectName(QStringLiteral("inspect"));
    readButton_->setObjectName(QStringLiteral("readImage"));
    makeButton_->setObjectName(QStringLiteral("makeImage"));
    inspect_->hide();
    Theme::setFilled(*makeButton_);
    for (QPushButton* button : {inspect_, readButton_, makeButton_}) {
        layout->addWidget(button, 0, Qt::AlignBottom);
    }
    connect(inspect_, &QPushButton::clicked, this, [this] { emit handOver(QStringLiteral("inspect"), imagePath_); });
    connect(readButton_, &QPushButton::clicked, this, &SecretsPage::readImage);
    connect(makeButton_, &QPushButton::clicked, this, &SecretsPage::run);
    return widget;
}

void SecretsPage::connectDocument() {
    connect(&document_, &SecretsDocument::wasReset, this, [this](qsizetype chosen) {
        row_ = chosen;
        refresh();
        table_->setCurrentIndex(model_->index(static_cast<int>(chosen), 0));
    });
    connect(&document_, &SecretsDocument::itemChanged, this, [this](qsizetype row) {
        row_ = row;
        refresh();
        table_->setCurrentIndex(model_->index(static_cast<int>(row), 0));
    });
    connect(&document_, &SecretsDocument::modifiedChanged, this, &Page::stateChanged);
    connect(editor_, &SecretEditor::showsDataChanged, this, &SecretsPage::refresh);
}

bool SecretsPage::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) {
        refresh();  // the files may have changed meanwhile
    }
    return Page::event(event);
}

const Device& SecretsPage::device() const {
    return devices_.at(std::max(0, deviceBox_->currentIndex()));
}

void SecretsPage::showDevice() {
    mapView_->setFuses(device().fuses);
    editor_->setFuses(device().fuses);
    emit mapView_->pointedAt(QString());
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
    sizes_.clear();
    QStringList names;
    for (const SecretItem& item : items) {
        sizes_ += secretSize(item, document_.folder());
        names += item.Name;
    }
    places_ = otpItems(device().fuses, items, sizes_);
    map_ = mapOtp(device().fuses, places_);
    const QStringList faults = placeFaults();
    showTable(faults);
    mapView_->setMap(map_, names);
    mapView_->setChosen(row_ < 0 ? OtpItem() : places_.at(row_));
    editor_->showItem(row_, row_ < 0 ? SecretSize() : sizes_.at(row_), placeOf(row_, faults));
    remove_->setEnabled(row_ >= 0);
    duplicate_->setEnabled(row_ >= 0);
    up_->setEnabled(row_ > 0);
    down_->setEnabled(row_ >= 0 && row_ + 1 < items.size());
    makeButton_->setEnabled(!isBusy_);
    showRemarks();
}

/// What is wrong with the place of each item; empty for nothing.
QStringList SecretsPage::placeFaults() const {
    QStringList faults;
    faults.resize(places_.size());
    for (const OtpCollision& at : map_.collisions) {
        const QString words = wordRange(at.word, std::uint64_t{at.word} + at.count);
        const QString text = at.count == 1 ? tr("collides with “%1” in word %2") : tr("collides with “%1” in words %2");
        const std::pair<qsizetype, qsizetype> pairs[] = {{at.first, at.second}, {at.second, at.first}};
        for (const auto& [item, other] : pairs) {
            if (faults.at(item).isEmpty()) {
                faults[item] = text.arg(places_.at(other).name, words);
            }
        }
    }
    for (const qsizetype item : map_.outside) {
        if (faults.at(item).isEmpty()) {
            faults[item] = tr("reaches beyond word %1, the last of the device").arg(device().fuses.wordCount - 1);
        }
    }
    return faults;
}

Verdict SecretsPage::placeOf(qsizetype row, const QStringList& faults) const {
    if (row < 0) {
        return {};
    }
    if (!faults.at(row).isEmpty()) {
        QString text = faults.at(row) + u'.';
        text[0] = text.at(0).toUpper();
        return {Verdict::Kind::fault, text};
    }
    const OtpItem& place = places_.at(row);
    const QString words =
        place.count == 0 ? tr("Fills no word") : tr("Fills %1").arg(wordRange(place.first, place.end()));
    if (map_.undescribed.contains(row)) {
        return {Verdict::Kind::missing, tr("%1, which has no description.").arg(words)};
    }
    const OtpNeighbours nearest = otpNeighbours(places_, row);
    if (nearest.behind < 0) {
        return {Verdict::Kind::good, tr("%1.").arg(words)};
    }
    const OtpItem& next = places_.at(nearest.behind);
    return {Verdict::Kind::good, tr("%1; “%2” begins at %3.").arg(words, next.name, QString::number(next.first))};
}

void SecretsPage::showTable(const QStringList& faults) {
    const QString kinds[] = {tr("Words"), tr("Numbers"), tr("File")};
    QList<SecretRow> rows;
    for (qsizetype i = 0; i < places_.size(); ++i) {
        const SecretItem& item = document_.items().at(i);
        SecretRow row;
        row.name = item.Name;
        row.place = wordRange(places_.at(i).first, places_.at(i).end());
        row.kind = kinds[static_cast<int>(secretKind(item))];
        row.source = item.isFile || editor_->showsData() ? item.PathOrWord : QString(8, u'•');
        if (sizes_.at(i).data.kind == Verdict::Kind::missing) {
            row.source = tr("to be filled in");
        }
        row.protection =
            QStringLiteral("0x%1").arg(protectionWord(item) & secretRecord::protectionMask, 8, 16, QLatin1Char('0'));
        row.fault = !faults.at(i).isEmpty()                          ? item.Name + u' ' + faults.at(i)
                    : sizes_.at(i).data.kind == Verdict::Kind::fault ? sizes_.at(i).data.text
                                                                     : QString();
        rows += row;
    }
    model_->setRows(rows);
    empty_->setVisible(rows.isEmpty());
}

void SecretsPage::showRemarks() {
    QStringList collisions;
    for (const OtpCollision& at : map_.collisions) {
        collisions += tr("“%1” and “%2” in %3")
                          .arg(places_.at(at.first).name, places_.at(at.second).name,
                               wordRange(at.word, std::uint64_t{at.word} + at.count));
    }
    QStringList missing;
    for (const qsizetype fuse : map_.missing) {
        const FuseWords& words = device().fuses.words.at(fuse);
        missing += tr("%1 (%2)").arg(words.name, wordRange(words.index, words.end()));
    }
    for (qsizetype i = 0; i < places_.size(); ++i) {
        if (document_.items().at(i).isMandatory && sizes_.at(i).data.kind == Verdict::Kind::missing) {
            missing += tr("data of “%1”").arg(places_.at(i).name);
        }
    }
    const auto list = [](ToneLabel* label, ThemeColor color, const QString& sentence, QStringList parts) {
        if (parts.size() > mostRemarks) {
            const auto more = static_cast<int>(parts.size() - mostRemarks);
            parts = parts.first(mostRemarks);
            parts += tr("%n more", nullptr, more);
        }
        say(label, color, parts.isEmpty() ? QString() : sentence.arg(parts.join(tr(", "))));
        label->setVisible(!parts.isEmpty());
    };
    list(collisions_, ThemeColor::fault, tr("Collision: %1."), collisions);
    list(missing_, ThemeColor::warning, tr("Missing: %1."), missing);
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
    editor_->hideData();
    result_->hide();
    inspect_->hide();
    return true;
}

bool SecretsPage::writeTo(const QString& path) {
    QString fault;
    if (!document_.save(path, fault)) {
        context_.dialogs.showFault(this, fault);
        return false;
    }
    refresh();  // paths count from the document's folder
    return true;
}

bool SecretsPage::save() {
    return document_.path().isEmpty() ? saveAs() : writeTo(document_.path());
}

bool SecretsPage::saveAs() {
    const QString proposed = document_.path().isEmpty() ? tr("secrets.json") : documentName();
    const QString path =
        context_.dialogs.saveFile(this, tr("Save Secrets Document"), PathRole::document, fileFilter(), proposed);
    return !path.isEmpty() && writeTo(path);
}

bool SecretsPage::mayLose() {
    if (!isModified()) {
        return true;
    }
    switch (context_.dialogs.askSave(this, documentName())) {
        case SaveAnswer::save:
            return save();
        case SaveAnswer::discard:
            return true;
        case SaveAnswer::cancel:
            break;
    }
    return false;
}

void SecretsPage::insertNew(const FuseWords& words, bool isNamed) {
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

/// For what is missing first, else for the first words that are free.
void SecretsPage::add() {
    const QList<FuseWords>& fuses = device().fuses.words;
    if (!map_.missing.isEmpty()) {
        insertNew(fuses.at(map_.missing.constFirst()), true);
        return;
    }
    const auto isFree = [this](const FuseWords& words) {
        return std::all_of(map_.words.begin() + words.index, map_.words.begin() + words.end(),
                           [](const OtpWord& word) { return word.item < 0; });
    };
    const auto found = std::find_if(fuses.begin(), fuses.end(), isFree);
    if (found != fuses.end()) {
        insertNew(*found, true);
    } else {
        const auto word =
            std::find_if(map_.words.begin(), map_.words.end(), [](const OtpWord& w) { return w.item < 0; });
        FuseWords free;
        free.index = word == map_.words.end() ? 0 : static_cast<std::uint32_t>(word - map_.words.begin());
        insertNew(free, false);
    }
    editor_->setFocus();
}

void SecretsPage::addFor(std::uint32_t word) {
    const qsizetype fuse = fuseAt(device().fuses, word);
    if (fuse >= 0) {
        insertNew(device().fuses.words.at(fuse), true);
        return;
    }
    FuseWords free;
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
    const SecretsOpenPoint open = secretsOpenPoint(document_.items(), document_.folder());
    inspect_->hide();
    result_->show();
    if (!open.text.isEmpty()) {
        say(result_, ThemeColor::fault, open.text);
        if (open.item >= 0) {
            choose(open.item);
        }
        return;
    }
    const QString path =
        context_.dialogs.saveFile(this, tr("Make Secrets Image"), PathRole::output,
                                  tr("Secrets images (*.bin);;All files (*)"), QStringLiteral("secrets.bin"));
    if (path.isEmpty()) {
        result_->hide();
        return;
    }
    isBusy_ = true;
    makeButton_->setEnabled(false);
    say(result_, ThemeColor::quiet, tr("Making %1 …").arg(QFileInfo(path).fileName()));
    emit stateChanged();
    worker_.start([this, id = device().deviceId, items = document_.items(), folder = document_.folder(),
                   documentPath = document_.path(), path] {
        const SecretsMade made = makeSecretsImage(id, items, folder, documentPath, path);
        QMetaObject::invokeMethod(this, [this, made, path] { finishImage(made, path); });
    });
}

void SecretsPage::finishImage(const SecretsMade& made, const QString& path) {
    isBusy_ = false;
    makeButton_->setEnabled(true);
    if (made.words < 0) {
        say(result_, ThemeColor::fault, tr("No image was made. %1").arg(made.fault));
    } else if (made.warning.isEmpty()) {
        say(result_, ThemeColor::success,
            tr("%1 made: %n OTP word(s).", nullptr, made.words).arg(QFileInfo(path).fileName()));
    } else {
        say(result_, ThemeColor::warning,
            tr("%1 made: %n OTP word(s). %2", nullptr, made.words).arg(QFileInfo(path).fileName(), made.warning));
    }
    imagePath_ = path;
    inspect_->setVisible(made.words >= 0);
    emit stateChanged();
}

void SecretsPage::readImage() {
    if (isBusy_ || !mayLose()) {
        return;
    }
    const QString path = context_.dialogs.openFile(this, tr("Read Secrets Image"), PathRole::output,
                                                   tr("Secrets images (*.bin);;All files (*)"));
    if (path.isEmpty()) {
        return;
    }
    QByteArrayList items;
    QString fault;
    QString remark;
    inspect_->hide();
    result_->show();
    if (!readSecretsImage(device(), path, items, fault, remark)) {
        say(result_, ThemeColor::fault, tr("No image was read. %1").arg(fault));
        return;
    }
    editor_->hideData();
    document_.clear(items);
    say(result_, ThemeColor::success,
        tr("%1 read: %n item(s) in a new document. %2", nullptr, static_cast<int>(items.size()))
            .arg(QFileInfo(path).fileName(), remark)
            .trimmed());
}
