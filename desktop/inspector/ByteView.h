#pragma once

#include <QAbstractScrollArea>
#include <QByteArrayView>
#include <QList>

#include <functional>
#include <memory>

namespace desktop {

/// Shows bytes as offset, hexadecimal and text. It paints only the visible rows and doesn't copy the bytes. One byte is
/// the current one. Callers and dragging can select a stretch of bytes.
class ByteView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit ByteView(QWidget* parent = nullptr);

    /// `owner` keeps the bytes alive while they are shown. `base` is the number that the view shows for the first byte.
    void setBytes(QByteArrayView bytes, std::shared_ptr<const void> owner, quint64 base = 0);
    [[nodiscard]] QByteArrayView bytes() const { return bytes_; }

    /// Selects a stretch and scrolls to its start. Clips it to the bytes that exist.
    void choose(qint64 offset, qint64 size);
    /// Like `choose`, but without scrolling.
    void mark(qint64 offset, qint64 size);
    [[nodiscard]] qint64 chosenOffset() const { return chosenOffset_; }
    [[nodiscard]] qint64 chosenSize() const { return chosenSize_; }

    /// Sets the function that makes a byte's tooltip.
    void setDescriber(std::function<QString(qint64 offset)> describer) { describer_ = std::move(describer); }

    [[nodiscard]] QSize sizeHint() const override;

  signals:
    /// The user moved to a byte by mouse or keyboard.
    void byteChosen(qint64 offset);
    /// The user selected a stretch by mouse or keyboard.
    void stretchChosen();

  protected:
    bool viewportEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

  private:
    void layOut();
    void goTo(qint64 offset);
    /// Selects from the anchor to `offset`.
    void extendTo(qint64 offset);
    void copy() const;
    void showByte(qint64 offset);
    [[nodiscard]] qint64 byteAt(const QPoint& point) const;
    [[nodiscard]] int hexLeft(int column) const;
    [[nodiscard]] int textLeft(int column) const;
    [[nodiscard]] qint64 rows() const;
    [[nodiscard]] int visibleRows() const;
    void paintRow(QPainter& painter, qint64 row, int top) const;

    QByteArrayView bytes_;
    std::shared_ptr<const void> owner_;
    std::function<QString(qint64 offset)> describer_;
    quint64 base_ = 0;
    int columns_ = 16;
    int cell_ = 1;  ///< width of a character
    int line_ = 1;  ///< height of a row
    int digits_ = 8;
    qint64 current_ = 0;
    qint64 anchor_ = 0;  ///< where the user's selection started
    qint64 chosenOffset_ = 0;
    qint64 chosenSize_ = 0;
};

}  // namespace desktop
