#pragma once

#include "desktop/Page.h"
#include "desktop/SecretsDocument.h"
#include "desktop/secretsImages.h"

#include "devices/deviceFinder.h"

#include <QThreadPool>

class OtpMapView;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QTableView;
class SecretEditor;
class SecretsModel;
class ToneLabel;

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

  private:
    void findDevices();
    QWidget* makeTable();
    QHBoxLayout* makeTableButtons();
    QWidget* makeMap();
    QWidget* makeFooter();
    void connectDocument();

    [[nodiscard]] const Device& device() const;
    void showDevice();
    void choose(qsizetype row);
    void refresh();
    void showTable(const QStringList& faults);
    void showRemarks();
    [[nodiscard]] QStringList placeFaults() const;
    [[nodiscard]] Verdict placeOf(qsizetype row, const QStringList& faults) const;

    void add();
    void addFor(std::uint32_t word);
    void insertNew(const FuseWords& words, bool isNamed);
    void duplicate();
    void move(qsizetype steps);
    void readImage();
    void finishImage(const SecretsMade& made, const QString& path);
    [[nodiscard]] bool writeTo(const QString& path);
    [[nodiscard]] bool mayLose();

    PageContext& context_;
    SecretsDocument document_;
    QList<Device> devices_;
    qsizetype row_ = -1;
    bool isBusy_ = false;
    QString imagePath_;  ///< of the last image that was made

    QList<SecretSize> sizes_;  ///< of the items
    QList<OtpItem> places_;    ///< likewise
    OtpMap map_;

    QComboBox* deviceBox_;
    SecretsModel* model_;
    QTableView* table_;
    QLabel* empty_;
    QPushButton* remove_;
    QPushButton* duplicate_;
    QPushButton* up_;
    QPushButton* down_;
    OtpMapView* mapView_;
    ToneLabel* wordInfo_;
    SecretEditor* editor_;
    ToneLabel* collisions_;
    ToneLabel* missing_;
    ToneLabel* result_;
    QPushButton* inspect_;
    QPushButton* readButton_;
    QPushButton* makeButton_;
    QThreadPool worker_;
};
