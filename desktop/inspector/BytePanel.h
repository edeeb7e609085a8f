#pragma once

#include <QByteArrayView>
#include <QWidget>

#include <functional>
#include <memory>

class ByteView;
class ElidedLabel;
class QCheckBox;
class QLineEdit;

/// The bytes, what is chosen of them in words and numbers, and a way to an offset.
class BytePanel : public QWidget {
    Q_OBJECT

  public:
    explicit BytePanel(QWidget* parent = nullptr);

    /// As ByteView has it; shown bytes of the same place are left alone.
    void setBytes(QByteArrayView bytes, const std::shared_ptr<const void>& owner, quint64 base = 0);
    void setDescriber(std::function<QString(qint64 offset)> describer);
    void choose(qint64 offset, qint64 size);
    /// The same without moving there.
    void mark(qint64 offset, qint64 size);
    /// Says what is chosen; the value of the chosen bytes is told besides.
    void describe(const QString& what);

    /// Whether plain contents can be had, and why not.
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
