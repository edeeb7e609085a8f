#pragma once

#include "desktop/page/Page.h"
#include "desktop/secrets/SecretsDocument.h"
#include "desktop/secrets/secretsPlan.h"

#include "devices/deviceFinder.h"

#include <QThreadPool>

class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QTableView;

namespace desktop {

class OtpMapView;
class SecretEditor;
class SecretsFooter;
class SecretsModel;

/// The secrets editor: a table of the items of a secrets document above the map of a device's OTP words, with the
/// fields of the chosen item at the side. The library makes and reads the images.
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
    void takeFiles(const QStringList& paths) override;

  private:
    [[nodiscard]] QWidget* makeDeviceRow();
    [[nodiscard]] QWidget* makeTable();
    [[nodiscard]] QHBoxLayout* makeTableButtons();
    [[nodiscard]] QWidget* makeBody();
    void connectDocument();

    void searchDevices();
    void takeDevices(const devices::DeviceSearch& search);
    [[nodiscard]] const devices::Device& device() const;
    void showDevice();
    void choose(qsizetype row);
    void refresh();
    void showTable();

    void add();
    void addFor(std::uint32_t word);
    void insertNew(const devices::FuseWords& words, bool isNamed);
    void duplicate();
    void move(qsizetype steps);
    void readImage();
    void readImageAt(const QString& path);
    void finishImage(const SecretsMade& made, const QString& path, bool isOfFixedLayout);
    [[nodiscard]] bool writeTo(const QString& path);

    SecretsDocument document_;
    SecretsPlan plan_;
    QList<devices::Device> devices_;
    QString deviceFolder_;  ///< the user's folder in which the last search looked for devices
    qsizetype row_ = -1;
    bool isBusy_ = false;
    QString imagePath_;  ///< the last image that was made
    QString imageKind_;  ///< its name in the opener

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

}  // namespace desktop
