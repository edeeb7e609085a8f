#pragma once

#include "desktop/optionBytes/OptionByteDocument.h"
#include "desktop/page/Page.h"
#include "devices/deviceFinder.h"

#include <QFileSystemWatcher>
#include <QThreadPool>
#include <QTimer>

class QComboBox;
class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;

namespace desktop {

class OptionByteList;
class OptionWordEditor;

/// The editor of option bytes: the device at the top, the words at the left, the fields of the chosen word at the
/// right.
class OptionBytePage : public Page {
    Q_OBJECT

  public:
    OptionBytePage(PageContext& context, QWidget* parent);
    ~OptionBytePage() override;

    [[nodiscard]] QUndoStack* undoStack() override;
    [[nodiscard]] QString documentName() const override;
    [[nodiscard]] QString fileFilter() const override;
    [[nodiscard]] bool isModified() const override;
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool save() override;
    [[nodiscard]] bool saveAs() override;

  private:
    [[nodiscard]] QWidget* makeDeviceRow();
    [[nodiscard]] QWidget* makeChangedBar();
    [[nodiscard]] QWidget* makeEmpty();
    [[nodiscard]] QWidget* makeEditor();
    void searchDevices();
    void takeDevices(const devices::DeviceSearch& search);
    void guessDevice();
    void chooseDevice(int row);
    void startNew(const devices::Device& device);
    void showDevice();
    void showTable();
    void showRemarks();
    void watchFile();
    void lookAtFile();
    void reload();
    [[nodiscard]] bool saveTo(const QString& path);

    OptionByteDocument document_;
    devices::DeviceSearch search_;
    int newestSearch_ = 0;
    QFileSystemWatcher watcher_;
    QTimer settling_;
    QComboBox* devices_;
    QPushButton* newTable_;
    QLabel* changedText_;
    QPushButton* reload_;
    QWidget* changedBar_;
    QStackedWidget* body_;
    OptionByteList* words_;
    OptionWordEditor* word_;
    QLabel* remarksTitle_;
    QListView* remarks_;
    qsizetype shownWord_ = -1;
    QThreadPool worker_;
};

}  // namespace desktop
