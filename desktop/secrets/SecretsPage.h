#pragma once

#include "desktop/page/FileMark.h"
#include "desktop/page/Page.h"
#include "desktop/secrets/SecretsDocument.h"
#include "desktop/secrets/secretsPlan.h"

#include "devices/deviceFinder.h"

#include <QThreadPool>

class OtpMapView;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QTableView;
class SecretEditor;
class SecretsFooter;
class SecretsModel;

/// The secrets editor: the items of a secrets document as a table over the OTP words of a device, the chosen one's
/// fields beside it. Images are made and read through the library.
class SecretsPage : public Page {
    Q_OBJECT

  public:
    explicit SecretsPage(PageContext& context, QWidget* parent = nullptr);
    ~SecretsPage() override;

    [[nodiscard]] QUndoStack* undoStack() override;
    [[nodiscard]] QString documentName() const override;
    [[nodiscard]] QString fileFilter() const override;
    [[nodiscard]] bool isModified() const override;
    [[nodiscard]] bool isBusy() const override { return isBusy_; }
    [[nodiscard]] bool openFile(const QString& path) override;
    [[nodiscard]] bool save() override;
    [[nodiscard]] bool saveAs() override;
    /// Makes the image.
    void run() override;

  protected:
    bool event(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    [[nodiscard]] QWidget* makeDeviceRow();
    [[nodiscard]] QWidget* makeTable();
    [[nodiscard]] QHBoxLayout* makeTableButtons();
    [[nodiscard]] QWidget* makeBody();
    void connectDocument();

    void searchDevices();
    void takeDevices(const DeviceSearch& search);
    [[nodiscard]] const Device& device() const;
    void showDevice();
    void choose(qsizetype row);
    void refresh();
    void showTable();

    void add();
    void addFor(std::uint32_t word);
    void insertNew(const FuseWords& words, bool isNamed);
    void duplicate();
    void move(qsizetype steps);
    void readImage();
    void readImageAt(const QString& path);
    void finishImage(const SecretsMade& made, const QString& path, bool isOfFixedLayout);
    [[nodiscard]] bool writeTo(const QString& path);

    PageContext& context_;
    SecretsDocument document_;
    FileMark mark_;  ///< of its file
    SecretsPlan plan_;
    QList<Device> devices_;
    QString deviceFolder_;  ///< of the user, in which they were looked for
    qsizetype row_ = -1;
    bool isBusy_ = false;
    QString imagePath_;  ///< of the last image that was made
    QString imageKind_;  ///< as the opener names it

    QComboBox* deviceBox_;
    SecretsModel* model_;
    QTableView* table_;
    QLabel* empty_;
    QPushButton* remove_;
    QPushButton* duplicate_;
    QPushButton* up_;
    QPushButton* down_;
    OtpMapView* map_ = nullptr;
    SecretEditor* editor_;
    SecretsFooter* footer_;
    QThreadPool worker_;
};
