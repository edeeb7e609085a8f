#pragma once

#include "desktop/secrets/SecretsDocument.h"
#include "desktop/secrets/secretsPlan.h"

#include <QWidget>

#include <array>
#include <iterator>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace desktop {

class Dialogs;
class VerdictLine;

/// The fields of one item of a secrets document. Each edit changes the document at once.
class SecretEditor : public QWidget {
    Q_OBJECT

  public:
    SecretEditor(SecretsDocument& document, Dialogs& dialogs, QWidget* parent = nullptr);

    void setFuses(const devices::DeviceFuses& fuses);
    /// Shows the item `row`, or none for -1. `place` is the verdict on its words.
    void showItem(qsizetype row, const SecretSize& size, const jobs::Verdict& place);
    /// The changes that assign `item` to the words `fuse` of the description.
    [[nodiscard]] QList<SecretChange> changesFor(const SecretItem& item, const devices::FuseWords& fuse) const;

    /// Puts the focus into the field with the item's data.
    void focusData();

    [[nodiscard]] bool showsData() const;
    void hideData();

  signals:
    void showsDataChanged();

  protected:
    /// Accepts files that are dropped on the path fields.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    struct ProtectionEditor {
        QLabel* label = nullptr;
        QComboBox* values = nullptr;
    };

    void makeItemFields(QFormLayout& form);
    void makeDataFields(QFormLayout& form);
    QWidget* makeProtectionFields(int labels);
    QWidget* makePathField(QLineEdit* line, QPushButton* browse, const QString& title, const QByteArrayList& path);
    void connectLine(QLineEdit* line, const QByteArrayList& path, const QString& undoText);

    void change(const QList<SecretChange>& changes, const QString& undoText);
    void takeFile(const QByteArrayList& path, const QString& file);
    void pickFuse(int entry);
    void pickKind(int kind);
    void showFuse(const SecretItem& item);
    void showProtection(const SecretItem& item);
    void showPreview(const SecretItem& item);
    [[nodiscard]] QString writtenPath(const QString& path) const;

    SecretsDocument& document_;
    Dialogs& dialogs_;
    devices::DeviceFuses fuses_;
    qsizetype row_ = -1;
    bool isShowing_ = false;

    QLineEdit* name_;
    QComboBox* fuse_;
    QSpinBox* index_;
    VerdictLine* place_;
    QSpinBox* expected_;
    QCheckBox* mandatory_;
    QComboBox* kind_;
    QLineEdit* content_;
    QPushButton* browse_;
    VerdictLine* dataVerdict_;
    QCheckBox* showData_;
    QLabel* preview_;
    QLabel* word_;
    std::array<ProtectionEditor, std::size(protectionRows)> protection_;
    QLineEdit* nonce_;
    QPushButton* browseNonce_;
    VerdictLine* nonceVerdict_;
};

}  // namespace desktop
