#include "desktop/optionBytes/OptionBytePage.h"

#include "desktop/look/ToneLabel.h"
#include "desktop/optionBytes/OptionByteList.h"
#include "desktop/optionBytes/OptionWordEditor.h"
#include "desktop/optionBytes/optionByteText.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Settings.h"

#include <QAbstractListModel>
#include <QComboBox>
#include <QCoreApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>

#include <utility>

namespace desktop {

namespace {

constexpr int remarkLines = 4;  // visible at once

/// A bar for messages that don't stop the user's work.
class Bar : public QWidget {
  public:
    using QWidget::QWidget;

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.fillRect(rect(), Theme::color(ThemeColor::panel));
        painter.fillRect(QRect(0, 0, Theme::rowGap() / 2, height()), Theme::color(ThemeColor::warning));
    }
};

/// The remarks for the user: first the remarks on the descriptions, then the remarks on the table.
class RemarkModel : public QAbstractListModel {
  public:
    RemarkModel(const OptionByteDocument& document, const QStringList& search, QObject* parent)
        : QAbstractListModel(parent), document_(document), search_(search) {}

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(search_.size() + document_.remarks().size());
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        return role != Qt::DisplayRole || !index.isValid() ? QVariant()
               : index.row() < search_.size()              ? search_.at(index.row())
                                                           : document_.remarkText(index.row() - search_.size());
    }

    /// The word that a remark is about; -1 if it isn't about a single word.
    [[nodiscard]] qsizetype wordOf(int row) const {
        return row < search_.size() ? -1 : document_.remarks().at(row - search_.size()).word;
    }

    void refresh() {
        beginResetModel();
        endResetModel();
    }

  private:
    const OptionByteDocument& document_;
    const QStringList& search_;
};

}  // namespace

OptionBytePage::~OptionBytePage() {
    worker_.waitForDone();  // older searches too: each reports its result to this page
    // These widgets refer to the document, which is destroyed before the page's child widgets.
    delete body_;
    delete remarks_;
}

OptionBytePage::OptionBytePage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      devices_(new QComboBox),
      newTable_(new QPushButton(tr("&New Table"))),
      changedText_(new QLabel),
      reload_(new QPushButton(tr("Open It &Again"))),
      changedBar_(makeChangedBar()),
      body_(new QStackedWidget),
      words_(new OptionByteList(document_)),
      word_(new OptionWordEditor(document_)),
      remarksTitle_(new QLabel),
      remarks_(new QListView) {
    body_->addWidget(makeEmpty());
    body_->addWidget(makeEditor());
    remarksTitle_->setBuddy(remarks_);
    auto* remarks = new RemarkModel(document_, search_.remarks, this);
    remarks_->setModel(remarks);
    remarks_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    remarks_->setObjectName(QStringLiteral("remarks"));
    remarks_->setAccessibleName(tr("Remarks"));
    remarks_->setTextElideMode(Qt::ElideMiddle);
    remarks_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    remarks_->setUniformItemSizes(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::groupGap(), 0, Theme::groupGap(), Theme::labelGap());
    layout->addWidget(makeDeviceRow());
    layout->addWidget(changedBar_);
    layout->addSpacing(Theme::rowGap());
    layout->addWidget(body_, 1);
    layout->addWidget(remarksTitle_);
    layout->addWidget(remarks_);

    connect(words_, &OptionByteList::chosen, this, [this](qsizetype word) {
        shownWord_ = word;
        word_->setWord(word);
    });
    connect(word_, &OptionWordEditor::typed, this, &Page::stateChanged);
    connect(&document_, &OptionByteDocument::tableReset, this, &OptionBytePage::showTable);
    connect(&document_, &OptionByteDocument::remarksChanged, this, &OptionBytePage::showRemarks);
    connect(&document_, &OptionByteDocument::stateChanged, this, &Page::stateChanged);
    // Queued until the stack is done, because a field that loses the focus commits its entry and pushes another step.
    connect(
        &document_, &OptionByteDocument::wordWound, this,
        [this](qsizetype word) {
            if (word != words_->word() && word < document_.wordCount()) {
                // Move the focus first, because the fields of the old word are destroyed.
                words_->setFocus(Qt::OtherFocusReason);
                words_->choose(word);
            }
        },
        Qt::QueuedConnection);
    // A program that replaces the file may leave a moment without any file.
    settling_.setSingleShot(true);
    settling_.setInterval(200);
    connect(&watcher_, &QFileSystemWatcher::fileChanged, &settling_, qOverload<>(&QTimer::start));
    connect(&settling_, &QTimer::timeout, this, &OptionBytePage::lookAtFile);
    connect(remarks_, &QListView::activated, this, [this, remarks](const QModelIndex& index) {
        if (remarks->wordOf(index.row()) >= 0) {
            words_->choose(remarks->wordOf(index.row()));
        }
    });
    setAcceptDrops(true);
    showTable();
    showRemarks();
    searchDevices();
}

QWidget* OptionBytePage::makeDeviceRow() {
    auto* row = new QWidget;
    auto* label = new QLabel(tr("&Device"));
    label->setBuddy(devices_);
    devices_->setObjectName(QStringLiteral("device"));
    devices_->setPlaceholderText(tr("Choose a device"));
    devices_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    devices_->setMinimumContentsLength(44);
    newTable_->setObjectName(QStringLiteral("newTable"));
    auto* folder = new QPushButton(tr("Des&criptions…"));
    folder->setObjectName(QStringLiteral("descriptions"));
    folder->setToolTip(tr("Chooses your own folder of device descriptions, in addition to those of the program."));

    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::labelGap());
    layout->addWidget(label);
    layout->addWidget(devices_);
    layout->addWidget(newTable_);
    layout->addStretch(1);
    layout->addWidget(folder);

    connect(devices_, &QComboBox::activated, this, &OptionBytePage::chooseDevice);
    connect(newTable_, &QPushButton::clicked, this, [this] {
        const devices::Device device = *document_.device();
        if (mayLose()) {
            startNew(device);
        }
    });
    connect(folder, &QPushButton::clicked, this, [this] {
        const QString path =
            context_.dialogs.openFolder(this, tr("Your Folder of Device Descriptions"), jobs::PathRole::document);
        if (!path.isEmpty()) {
            context_.settings.setDeviceFolder(path);
            searchDevices();
        }
    });
    return row;
}

QWidget* OptionBytePage::makeChangedBar() {
    auto* bar = new Bar;
    auto* load = reload_;
    auto* keep = new QPushButton(tr("&Keep Mine"));
    load->setObjectName(QStringLiteral("reload"));
    keep->setObjectName(QStringLiteral("keep"));
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(Theme::labelGap(), Theme::rowGap(), Theme::labelGap(), Theme::rowGap());
    layout->addWidget(changedText_, 1);
    layout->addWidget(load);
    layout->addWidget(keep);
    connect(load, &QPushButton::clicked, this, &OptionBytePage::reload);
    connect(keep, &QPushButton::clicked, bar, &QWidget::hide);
    bar->hide();
    return bar;
}

QWidget* OptionBytePage::makeEmpty() {
    auto* empty = new QWidget;
    auto* title = new QLabel(tr("Open a table or choose a device"));
    title->setFont(Theme::headlineFont());
    auto* text = new ToneLabel(ThemeColor::quiet);
    text->setText(
        tr("A table is a CSV file of labels and words, as an install image needs it. Choosing a device starts a new "
           "table with the values that its words have after a reset."));
    text->setAlignment(Qt::AlignHCenter);
    const int width = fontMetrics().averageCharWidth() * 72;
    text->setFixedSize(width, text->heightForWidth(width));
    auto* open = new QPushButton(tr("Open a Ta&ble…"));
    open->setObjectName(QStringLiteral("openTable"));
    Theme::setFilled(*open);
    auto* layout = new QVBoxLayout(empty);
    layout->addStretch(2);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    layout->addWidget(text, 0, Qt::AlignHCenter);
    layout->addSpacing(Theme::labelGap());
    layout->addWidget(open, 0, Qt::AlignHCenter);
    layout->addStretch(3);
    connect(open, &QPushButton::clicked, this, [this] {
        const QString path = context_.dialogs.openFile(this, tr("Open"), jobs::PathRole::document, fileFilter());
        if (!path.isEmpty()) {
            (void)openFile(path);
        }
    });
    return empty;
}

QWidget* OptionBytePage::makeEditor() {
    auto* splitter = new QSplitter;
    words_->setObjectName(QStringLiteral("words"));
    splitter->addWidget(words_);
    splitter->addWidget(word_);
    splitter->setChildrenCollapsible(false);
    splitter->setStretchFactor(1, 1);
    splitter->setHandleWidth(1);
    splitter->setSizes({Theme::groupGap() * 18, Theme::groupGap() * 39});
    return splitter;
}

QUndoStack* OptionBytePage::undoStack() {
    return &document_.undoStack();
}

QString OptionBytePage::documentName() const {
    return !document_.holdsTable()      ? QString()
           : document_.path().isEmpty() ? tr("Untitled")
                                        : QFileInfo(document_.path()).fileName();
}

QString OptionBytePage::fileFilter() const {
    return tr("Tables of option bytes (*.csv);;All files (*)");
}

bool OptionBytePage::isModified() const {
    return document_.isModified() || word_->hasEntry();
}

bool OptionBytePage::openFile(const QString& path) {
    QString fault;
    if (!document_.open(QFileInfo(path).absoluteFilePath(), fault)) {
        context_.dialogs.showFault(this, tr("“%1” can't be opened.\n\n%2").arg(path, fault));
        return false;
    }
    guessDevice();
    words_->choose(0);
    changedBar_->hide();
    mark_.note(document_.path());
    watchFile();
    words_->setFocus(Qt::OtherFocusReason);
    return true;
}

bool OptionBytePage::save() {
    return document_.path().isEmpty() ? saveAs() : saveTo(document_.path());
}

bool OptionBytePage::saveAs() {
    if (!document_.holdsTable() || !word_->commit()) {
        return false;
    }
    const QString proposed =
        document_.path().isEmpty() ? tr("option-bytes.csv") : QFileInfo(document_.path()).fileName();
    QString path = context_.dialogs.saveFile(this, tr("Save Table"), jobs::PathRole::document, fileFilter(), proposed);
    if (path.isEmpty()) {
        return false;
    }
    // Commands recognise a table by this suffix. The dialog didn't ask about a file with the added suffix.
    if (QFileInfo(path).suffix().isEmpty()) {
        path += QStringLiteral(".csv");
        if (QFileInfo::exists(path) &&
            !context_.dialogs.confirm(this, tr("“%1” exists already.").arg(path), tr("Replace"))) {
            return false;
        }
    }
    return saveTo(QFileInfo(path).absoluteFilePath());
}

bool OptionBytePage::saveTo(const QString& path) {
    if (!document_.holdsTable() || !word_->commit()) {
        return false;
    }
    if (path == document_.path() && !mayReplace()) {
        return false;
    }
    QString fault;
    if (!document_.save(path, fault)) {
        context_.dialogs.showFault(this, tr("“%1” can't be written.\n\n%2").arg(path, fault));
        return false;
    }
    changedBar_->hide();
    mark_.note(document_.path());
    watchFile();
    return true;
}

void OptionBytePage::searchDevices() {
    // Search on another thread, because the descriptions may be on a slow drive.
    worker_.start([this, number = ++newestSearch_, own = context_.settings.deviceFolder()] {
        const devices::DeviceSearch search = devices::findDevices(devices::shippedDescriptions(), own);
        QMetaObject::invokeMethod(this, [this, number, search] {
            if (number == newestSearch_) {
                takeDevices(search);
            }
        });
    });
}

void OptionBytePage::takeDevices(const devices::DeviceSearch& search) {
    search_ = search;
    devices_->clear();
    const QString own = context_.settings.deviceFolder();
    bool isAnyOwn = own.isEmpty() || !search_.remarks.isEmpty();
    for (const devices::FoundDevice& found : std::as_const(search_.devices)) {
        isAnyOwn = isAnyOwn || found.isUsers;
        if (!found.device.registers.isEmpty()) {
            const QString id = QStringLiteral("0x") + QString::number(found.device.deviceId, 16).toUpper();
            devices_->addItem(found.isUsers ? tr("%1  %2 (yours)").arg(id, found.device.name)
                                            : tr("%1  %2").arg(id, found.device.name),
                              found.device.deviceId);
        }
    }
    if (!isAnyOwn) {
        search_.remarks += tr("%1: there are no descriptions in your folder").arg(own);
    }
    devices_->setPlaceholderText(devices_->count() == 0 ? tr("No description with option bytes was found")
                                                        : tr("Choose a device"));
    (void)word_->commit();  // a new device replaces the fields and discards a pending entry
    const devices::Device* chosen =
        document_.device() == nullptr ? nullptr : search_.find(document_.device()->deviceId);
    if (chosen != nullptr) {
        document_.setDevice(*chosen);
    }
    guessDevice();
    showDevice();
    showRemarks();
}

void OptionBytePage::guessDevice() {
    if (!document_.holdsTable() || document_.device() != nullptr) {
        return;
    }
    const devices::Device* best = nullptr;
    qsizetype most = 0;
    for (const devices::FoundDevice& found : std::as_const(search_.devices)) {
        const qsizetype known = document_.knownLabels(found.device);
        if (known > most) {
            most = known;
            best = &found.device;
        }
    }
    if (best != nullptr) {
        document_.setDevice(*best);
    }
}

void OptionBytePage::chooseDevice(int row) {
    const devices::Device* found = search_.find(devices_->itemData(row).toUInt());
    const bool isSame = found == nullptr || (document_.device() != nullptr && document_.holdsTable() &&
                                             document_.device()->deviceId == found->deviceId);
    if (!isSame) {
        // Copy the device: a search may end while the question is open and replace the devices that were found before.
        const devices::Device device = *found;
        if (document_.holdsTable() && !document_.path().isEmpty()) {
            document_.setDevice(device);
        } else if (mayLose()) {
            startNew(device);
        }
    }
    showDevice();
}

void OptionBytePage::startNew(const devices::Device& device) {
    document_.startNew(device);
    changedBar_->hide();
    watchFile();
}

void OptionBytePage::showDevice() {
    const devices::Device* device = document_.device();
    devices_->setCurrentIndex(device == nullptr ? -1 : devices_->findData(device->deviceId));
    newTable_->setEnabled(device != nullptr);
}

void OptionBytePage::showTable() {
    body_->setCurrentIndex(document_.holdsTable() ? 1 : 0);
    const qsizetype word = qMin(qMax(qsizetype{0}, shownWord_), document_.wordCount() - 1);
    words_->choose(word);
    word_->setWord(word);
    showDevice();
    emit stateChanged();
}

void OptionBytePage::showRemarks() {
    auto* model = static_cast<RemarkModel*>(remarks_->model());
    model->refresh();
    const int lines = model->rowCount({});
    remarksTitle_->setText(tr("Re&marks (%L1)").arg(lines));
    remarksTitle_->setVisible(lines > 0);
    remarks_->setVisible(lines > 0);
    remarks_->setFixedHeight(qMin(lines, remarkLines) * qMax(1, remarks_->sizeHintForRow(0)) +
                             2 * remarks_->frameWidth());
}

void OptionBytePage::watchFile() {
    if (!watcher_.files().isEmpty()) {
        watcher_.removePaths(watcher_.files());
    }
    if (!document_.path().isEmpty()) {
        watcher_.addPath(document_.path());
    }
}

void OptionBytePage::lookAtFile() {
    const bool isThere = QFileInfo::exists(document_.path());
    changedText_->setText(isThere ? tr("The file was changed by another program since it was opened or saved here.")
                                  : tr("The file is gone. Saving makes it again."));
    reload_->setVisible(isThere);
    changedBar_->setVisible(!document_.path().isEmpty() && (!isThere || mark_.isChanged()));
    watchFile();
}

void OptionBytePage::reload() {
    if (!isModified() ||
        context_.dialogs.confirm(this, tr("Your changes are lost when the file is opened again."), tr("Open Again"))) {
        (void)openFile(document_.path());
    }
}

}  // namespace desktop
