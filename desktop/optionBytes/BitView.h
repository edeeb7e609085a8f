#pragma once

#include "devices/Device.h"

#include <QWidget>

#include <optional>

namespace desktop {

/// A picture of a word: its hexadecimal digits, its bits, and below them its fields as numbered bands. A click or the
/// space bar toggles a bit; hovering over a field outlines it.
class BitView : public QWidget {
    Q_OBJECT

  public:
    struct Word {
        std::uint32_t value = 0;
        std::uint32_t saved = 0;
        std::optional<std::uint32_t> reset;
        int bits = 32;  ///< the number of shown bits
    };

    explicit BitView(QWidget* parent = nullptr);

    void setFields(const QList<devices::DeviceField>& fields);
    void setWord(const Word& word);
    /// Marks the field that the user edits; -1 for none.
    void setChosen(int field);
    /// Outlines the field that the pointer is over in another widget; -1 for none.
    void setPointed(int field);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  signals:
    void bitToggled(int bit);
    void fieldChosen(int field);   ///< -1 for bits that belong to no field
    void fieldPointed(int field);  ///< -1 for none

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    struct Heights;

    [[nodiscard]] Heights heights() const;
    [[nodiscard]] qreal cellWidth() const;
    [[nodiscard]] QRect columnOf(int bit) const;
    [[nodiscard]] QRect columnsOf(const devices::DeviceField& field) const;
    [[nodiscard]] int bitAt(int x) const;
    [[nodiscard]] int fieldOf(int bit) const;
    [[nodiscard]] QString descriptionOf(int bit) const;
    void moveCursor(int bit);
    void toggle(int bit);
    void paintDigits(QPainter& painter) const;
    void paintBit(QPainter& painter, int bit) const;
    void paintBand(QPainter& painter, int field) const;
    void paintInfo(QPainter& painter) const;

    QList<devices::DeviceField> fields_;
    Word word_;
    int chosen_ = -1;
    int pointed_ = -1;
    int cursor_ = 0;
    int hoveredBit_ = -1;
};

}  // namespace desktop
