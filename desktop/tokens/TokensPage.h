#pragma once

#include "desktop/page/Page.h"
#include "desktop/run/ProgramRun.h"

#include <QJsonArray>

class QFormLayout;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace desktop {

class ToneLabel;
enum class ThemeColor;

/// Shows the keys in tokens, and signs a file with one of them. qvora-sign does both. It lists the keys without a login
/// if a token permits that.
class TokensPage : public Page {
    Q_OBJECT

  public:
    explicit TokensPage(PageContext& context, QWidget* parent = nullptr);

    void run() override;

  protected:
    [[nodiscard]] bool acceptsFiles(const QStringList& paths) const override;
    void takeFiles(const QStringList& paths) override;

  private:
    enum class Task { list, logIn, sign };

    QPushButton* addButton(const QString& text, const char* name, void (TokensPage::*action)());
    QLineEdit* addPath(QFormLayout& form, const QString& label, const char* name, QString (TokensPage::*choose)());
    void list();
    void logIn();
    void sign();
    void copyUri();
    QString chooseBinary();
    QString chooseOutput();
    void start(Task task, const QStringList& arguments, const QByteArray& input = {});
    [[nodiscard]] bool askPin(const QJsonObject& token, QByteArray& pin);
    void take(const ProgramRun::Result& result);
    void showTokens(const QJsonArray& tokens);
    void chosen();
    void showState(ThemeColor tone, const QString& text);
    /// The token or the key of the chosen row; empty if there is none.
    [[nodiscard]] QJsonObject chosenToken() const;
    [[nodiscard]] QJsonObject chosenKey() const;

    QLineEdit* driver_;
    QPushButton* logIn_;
    QPushButton* copy_;
    QPushButton* sign_;
    ToneLabel* state_;
    QTreeWidget* tree_;
    QLineEdit* uri_;
    QLineEdit* binary_;
    QLineEdit* version_;
    QLineEdit* output_;
    ProgramRun program_;
    Task task_ = Task::list;
    QJsonArray tokens_;
};

}  // namespace desktop
