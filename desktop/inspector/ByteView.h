#pragma once

#include <QAbstractScrollArea>
#include <QByteArrayView>
#include <QList>

#include <functional>
#include <memory>

/// Bytes as offset, hexadecimal and text. It paints only the rows that are seen, straight from the bytes, which it
/// doesn't copy. One byte is the current one; a stretch can be chosen from outside or by dragging.
class ByteView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit ByteView(QWidget* parent = nullptr);

    /// `owner` keeps the bytes as long as they are shown. `base` is the number of the first one.
    void setBytes(QByteArrayView bytes, std::shared_ptr<const void> owner, quint64 base = 0);
    [[nodiscard]] QByteArrayView bytes() const { return bytes_; }

    /// Chooses a stretch and brings its start into view. Bytes that aren't there are left out.
    void choose(qint64 offset, qint64 size);
    /// The same without moving to it.
    void mark(qint64 offset, qint64 size);
    [[nodiscard]] qint64 chosenOffset() const { return chosenOffset_; }
    [[nodiscard]] qint64 chosenSize() const { return chosenSize_; }

    /// Says what a byte is, for its tip.
    void setDescriber(std::function<QString(qint64 offset)> describer) { describer_ = std::move(describer); }

    [[nodiscard]] QSize sizeHint() const override;

  signals:
    /// The user went to a byte by mouse or keyboard.
    void byteChosen(qint64 offset);
    /// The user chose a stretch by hand.
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
    /// Chooses from the byte where that began up to `offset`.
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
    qint64 anchor_ = 0;  ///< where choosing by hand began
    qint64 chosenOffset_ = 0;
    qint64 chosenSize_ = 0;
};
