#pragma once

#include "devices/otpMap.h"

#include <QStringList>
#include <QWidget>

class QPainter;

namespace desktop {

/// A picture of a device's OTP words in numbered rows. Words of one purpose have a common outline with its name. Words
/// that an item fills are coloured. Words that two items claim are red and hatched. The mouse or the arrow keys move to
/// a word, and the view reports the word's purpose as text. A click or Return chooses the item that fills the word.
class OtpMapView : public QWidget {
    Q_OBJECT

  public:
    explicit OtpMapView(QWidget* parent = nullptr);

    void setFuses(const devices::DeviceFuses& fuses);
    /// Shows the use of the words; `names` are the names of the items.
    void setMap(const devices::OtpMap& map, const QStringList& names);
    /// Outlines the words of `item`; an item without words outlines none.
    void setChosen(const devices::OtpItem& item);

    /// The number of words of each use.
    [[nodiscard]] QString summary() const;
    /// A sentence about a word.
    [[nodiscard]] QString descriptionOf(std::uint32_t word) const;

    /// Paints the inside of a word. `paintMark` paints the corner mark of words that must be filled.
    static void paintWord(QPainter& painter, const QRect& cell, devices::OtpUse use);
    static void paintMark(QPainter& painter, const QRect& cell);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

  signals:
    void itemChosen(qsizetype item);
    /// The user pressed Return or double-clicked on a word that no item fills.
    void freeWordChosen(std::uint32_t word);
    void pointedAt(const QString& text);
    void cursorMoved(const QRect& cell);

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;

  private:
    struct Grid;

    [[nodiscard]] Grid grid(int width, int height) const;
    [[nodiscard]] Grid grid() const;
    [[nodiscard]] bool mustBeFilled(const devices::OtpWord& word) const;
    [[nodiscard]] qsizetype wordAt(const QPoint& place) const;
    void paintCells(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const;
    void paintNames(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const;
    void point(qsizetype word);
    void choose(qsizetype word, bool addsFree);

    devices::DeviceFuses fuses_;
    devices::OtpMap map_;
    QStringList names_;
    devices::OtpItem chosen_;
    qsizetype cursor_ = 0;
};

}  // namespace desktop
