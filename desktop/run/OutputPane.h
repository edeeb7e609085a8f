#pragma once

#include "desktop/run/AnsiText.h"

#include <QList>
#include <QPlainTextEdit>
#include <QTimer>

class QLabel;
struct PageContext;

/// What a program has said, as it comes. Texts are gathered and put in many lines at once, since a document that grows
/// line by line holds up the window. It keeps the last lines and tells when older ones are gone. It follows the end
/// unless somebody looks at something above.
class OutputPane : public QPlainTextEdit {
    Q_OBJECT

  public:
    explicit OutputPane(PageContext& context, QWidget* parent = nullptr);

    void add(const QList<StyledText>& texts);
    /// Shows at once what was added.
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
    bool lineEnded_ = false;  ///< a line feed is due before the next text
};
