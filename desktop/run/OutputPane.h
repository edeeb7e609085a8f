#pragma once

#include "desktop/run/AnsiText.h"

#include <QList>
#include <QPlainTextEdit>
#include <QTimer>

class QLabel;

namespace desktop {

struct PageContext;

/// The output of a program. It collects texts and adds many lines at once, because a document that grows line by line
/// blocks the window. It keeps the last lines and says when it has dropped older ones. It scrolls to the end, unless
/// the user has scrolled up.
class OutputPane : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit OutputPane(PageContext& context, QWidget* parent = nullptr);

    void add(const QList<StyledText>& texts);
    /// Shows the added texts at once.
    void flush();
    void empty();

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void changeEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void insert(QTextCursor& cursor, const StyledText& piece);
    void trim();
    void recolour();
    void placeNote();
    void saveLog();
    [[nodiscard]] QSize sizeFor(int columns, int lines) const;

    PageContext& context_;
    QLabel* note_;
    QTimer timer_;
    QList<StyledText> pending_;
    qsizetype pendingSize_ = 0;
    bool lineEnded_ = false;  ///< a line feed must come before the next text
};

}  // namespace desktop
