#pragma once

#include <QPlainTextEdit>

namespace desktop {

/// A command line to read, select and copy. It is as high as its text, up to three lines, and then scrolls. The prompt
/// is painted next to the text and isn't part of it, so that any selection can be pasted into a shell.
class CommandLineView : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit CommandLineView(QWidget* parent = nullptr);

    void setLine(const QString& line);
    [[nodiscard]] const QString& line() const { return line_; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void fitHeight();
    [[nodiscard]] int heightOf(int lines) const;

    QString line_;  ///< the original, because the document returns other blanks and line ends
};

}  // namespace desktop
