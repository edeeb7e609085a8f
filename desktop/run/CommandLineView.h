#pragma once

#include <QPlainTextEdit>

/// A command line to read, select and copy: as high as its text needs, up to three lines, then it scrolls. The prompt
/// is painted beside the text and is no part of it, so that whatever is selected can be pasted into a shell.
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

    QString line_;  ///< what the document gives back has other blanks and ends of lines
};
