#pragma once

#include "devices/otpMap.h"

#include <QStringList>
#include <QWidget>

class QPainter;

/// A picture of the OTP words of a device: numbered rows of words, those that belong together outlined with their name,
/// what fills them coloured, what is wanted twice red and hatched. A word is pointed at by mouse or arrow keys, and
/// what it is for is told in words; a click or Return chooses what fills it.
class OtpMapView : public QWidget {
    Q_OBJECT

  public:
    explicit OtpMapView(QWidget* parent = nullptr);

    void setFuses(const DeviceFuses& fuses);
    /// Shows what becomes of the words; `names` are those of the items.
    void setMap(const OtpMap& map, const QStringList& names);
    /// The words that are outlined; one without any outlines nothing.
    void setChosen(const OtpItem& item);

    /// How many words there are of each use.
    [[nodiscard]] QString summary() const;
    /// What is to be said of a word.
    [[nodiscard]] QString told(std::uint32_t word) const;

    /// Paints the inside of a word, and the mark in the corner of words that must be filled.
    static void paintWord(QPainter& painter, const QRect& cell, OtpUse use);
    static void paintMark(QPainter& painter, const QRect& cell);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

  signals:
    void itemChosen(qsizetype item);
    /// Return or a double click on a word that nothing fills.
    void freeWordChosen(std::uint32_t word);
    void pointedAt(const QString& told);
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
    [[nodiscard]] bool mustBeFilled(const OtpWord& word) const;
    [[nodiscard]] qsizetype wordAt(const QPoint& place) const;
    void paintCells(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const;
    void paintNames(QPainter& painter, const Grid& cells, qsizetype begin, qsizetype end) const;
    void point(qsizetype word);
    void choose(qsizetype word, bool addsFree);

    DeviceFuses fuses_;
    OtpMap map_;
    QStringList names_;
    OtpItem chosen_;
    qsizetype cursor_ = 0;
};
