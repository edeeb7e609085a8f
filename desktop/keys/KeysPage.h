#pragma once

#include "desktop/keys/keyTasks.h"
#include "desktop/page/Page.h"

#include <QThreadPool>

#include <memory>

class QLineEdit;
class QPushButton;

namespace desktop {

class FormView;
class ToneLabel;

/// Makes keys, nonces and key pairs, and shows the hashes of public keys. The results are written to files only; the
/// page neither shows nor remembers anything secret.
class KeysPage : public Page {
    Q_OBJECT

  public:
    explicit KeysPage(PageContext& context, QWidget* parent = nullptr);
    ~KeysPage() override;

    [[nodiscard]] bool isBusy() const override;
    void run() override;
    void stop() override;

  private:
    struct Work;

    /// A hash in the fixed font with a button that copies it.
    struct HashRow {
        QWidget* row;
        QLineEdit* line;
    };

    [[nodiscard]] HashRow makeHashRow(const QString& label, const QString& name, const QString& copy);
    [[nodiscard]] KeyRequest request() const;
    void showFields();
    void fitForm();
    void proposePublic();
    void finish();
    void refresh();

    FormView* view_;
    QPushButton* make_;
    ToneLabel* missing_;
    ToneLabel* result_;
    HashRow pointHash_;
    HashRow keyHash_;
    QThreadPool pool_;  ///< one thread, because making an RSA pair takes seconds
    std::shared_ptr<Work> work_;
};

}  // namespace desktop
