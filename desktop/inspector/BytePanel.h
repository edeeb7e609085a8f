#pragma once

#include <QByteArrayView>
#include <QWidget>

#include <functional>
#include <memory>

class QCheckBox;
class QLineEdit;

namespace desktop {

class ByteView;
class ElidedLabel;

/// The bytes of a file, with a line that describes the selected bytes and a field to go to an offset.
class BytePanel : public QWidget {
    Q_OBJECT

  public:
    explicit BytePanel(QWidget* parent = nullptr);

    /// See ByteView::setBytes. Does nothing if the view shows the same bytes already.
    void setBytes(QByteArrayView bytes, const std::shared_ptr<const void>& owner, quint64 base = 0);
    void setDescriber(std::function<QString(qint64 offset)> describer);
    void choose(qint64 offset, qint64 size);
    /// Like `choose`, but without scrolling.
    void mark(qint64 offset, qint64 size);
    /// Shows `what` below the bytes, followed by the number that the selected bytes form.
    void describe(const QString& what);

    /// Enables or disables the switch to the plain contents; `tip` explains why.
    void setPlainPossible(bool possible, const QString& tip);
    [[nodiscard]] bool wantsPlain() const;
    void clearPlain();

  signals:
    void byteChosen(qint64 offset);
    void plainWanted(bool wanted);

  private:
    void goToOffset();
    [[nodiscard]] QString readings() const;

    ByteView* view_;
    ElidedLabel* status_;
    QCheckBox* plain_;
    QLineEdit* goTo_;
};

}  // namespace desktop
