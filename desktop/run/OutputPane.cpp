#include "desktop/run/OutputPane.h"

#include "desktop/look/theme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Page.h"
#include "files/outputFile.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDir>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QScrollBar>
#include <QTextBlock>

#include <utility>

namespace desktop {

namespace {

constexpr int maxLines = 100'000;
// The document lays out an unterminated line again with each piece.
constexpr int maxLineLength = 32'768;
constexpr int showEvery = 30;                    // milliseconds
constexpr qsizetype showAtLeastEvery = 262'144;  // characters
constexpr int styleProperty = QTextFormat::UserProperty;

QTextCharFormat formatOf(TextStyle style) {
    QTextCharFormat format;
    if (style == TextStyle::plain) {
        return format;  // the palette's own colour
    }
    format.setProperty(styleProperty, static_cast<int>(style));
    switch (style) {
        case TextStyle::plain:
            break;
        case TextStyle::grey:
        case TextStyle::detail:
            format.setForeground(Theme::color(ThemeColor::quiet));
            break;
        case TextStyle::success:
            format.setForeground(Theme::color(ThemeColor::success));
            break;
        case TextStyle::title:
            format.setForeground(Theme::color(ThemeColor::accent));
            break;
        case TextStyle::warning:
            format.setForeground(Theme::color(ThemeColor::warning));
            break;
        case TextStyle::error:
            format.setForeground(Theme::color(ThemeColor::fault));
            break;
    }
    return format;
}

}  // namespace

OutputPane::OutputPane(PageContext& context, QWidget* parent)
    : QPlainTextEdit(parent), context_(context), note_(new QLabel(this)) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setUndoRedoEnabled(false);
    setFont(Theme::fixedFont());
    setTabStopDistance(8 * fontMetrics().horizontalAdvance(u' '));
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setAccessibleName(tr("Output"));
    setPlaceholderText(tr("The output of the tool is shown here."));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    note_->setText(tr("Only the last %1 lines are kept.").arg(QLocale().toString(maxLines)));
    note_->setForegroundRole(QPalette::PlaceholderText);
    note_->setIndent(Theme::rowGap());
    note_->hide();
    timer_.setSingleShot(true);
    timer_.setInterval(showEvery);
    connect(&timer_, &QTimer::timeout, this, &OutputPane::flush);
}

void OutputPane::add(const QList<StyledText>& texts) {
    for (const StyledText& piece : texts) {
        pending_.append(piece);
        pendingSize_ += piece.text.size();
    }
    if (pendingSize_ >= showAtLeastEvery) {
        flush();
    } else if (!timer_.isActive()) {
        timer_.start();
    }
}

void OutputPane::flush() {
    timer_.stop();
    if (pending_.isEmpty()) {
        return;
    }
    QScrollBar* bar = verticalScrollBar();
    const bool follows = bar->value() >= bar->maximum();
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::End);
    for (const StyledText& piece : std::exchange(pending_, {})) {
        insert(cursor, piece);
    }
    cursor.endEditBlock();
    pendingSize_ = 0;
    trim();
    if (follows) {
        bar->setValue(bar->maximum());
    }
}

void OutputPane::empty() {
    timer_.stop();
    pending_.clear();
    pendingSize_ = 0;
    lineEnded_ = false;
    clear();
    note_->hide();
    placeNote();
}

QSize OutputPane::sizeHint() const {
    return sizeFor(80, 7);
}

QSize OutputPane::minimumSizeHint() const {
    return sizeFor(30, 5);
}

void OutputPane::changeEvent(QEvent* event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        recolour();
    }
}

void OutputPane::contextMenuEvent(QContextMenuEvent* event) {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const bool filled = !document()->isEmpty();
    menu->addAction(tr("&Copy"), this, &QPlainTextEdit::copy)->setEnabled(textCursor().hasSelection());
    menu->addAction(tr("Copy &All"), this, [this] { QApplication::clipboard()->setText(toPlainText()); })
        ->setEnabled(filled);
    menu->addSeparator();
    menu->addAction(tr("&Save Log…"), this, &OutputPane::saveLog)->setEnabled(filled);
    menu->addAction(tr("C&lear"), this, &OutputPane::empty)->setEnabled(filled);
    menu->popup(event->globalPos());
}

void OutputPane::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    placeNote();
}

void OutputPane::insert(QTextCursor& cursor, const StyledText& piece) {
    const QTextCharFormat format = formatOf(piece.style);
    if (piece.restartsLine && !lineEnded_) {
        cursor.movePosition(QTextCursor::StartOfBlock, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
    }
    // Hold back the last line feed, so that the output doesn't end in an empty line.
    QString text = piece.text;
    if (std::exchange(lineEnded_, text.endsWith(u'\n'))) {
        text.prepend(u'\n');
    }
    text.chop(lineEnded_ ? 1 : 0);
    qsizetype column = cursor.positionInBlock();
    qsizetype from = 0;
    for (qsizetype at = 0; at < text.size(); ++at) {
        column = text.at(at) == u'\n' ? 0 : column + 1;
        if (column >= maxLineLength && !text.at(at).isHighSurrogate()) {
            cursor.insertText(text.mid(from, at + 1 - from) + u'\n', format);
            from = at + 1;
            column = 0;
        }
    }
    cursor.insertText(text.mid(from), format);
}

void OutputPane::trim() {
    const int excess = blockCount() - maxLines;
    if (excess <= 0) {
        return;
    }
    QScrollBar* bar = verticalScrollBar();
    const QTextBlock firstKept = document()->findBlockByNumber(excess);
    const int seen = qMax(0, bar->value() - firstKept.firstLineNumber());
    QTextCursor cursor(document());
    cursor.setPosition(firstKept.position(), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    bar->setValue(seen);
    if (note_->isHidden()) {
        note_->show();
        placeNote();
    }
}

void OutputPane::recolour() {
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        // Collect the fragments first: changing a fragment's format may merge it with its neighbour.
        QList<QTextFragment> styled;
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            if (it.fragment().charFormat().hasProperty(styleProperty)) {
                styled.append(it.fragment());
            }
        }
        for (const QTextFragment& fragment : styled) {
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            cursor.setCharFormat(formatOf(static_cast<TextStyle>(fragment.charFormat().intProperty(styleProperty))));
        }
    }
    cursor.endEditBlock();
}

void OutputPane::placeNote() {
    const int height = note_->isHidden() ? 0 : note_->sizeHint().height() + Theme::rowGap();
    setViewportMargins(0, height, 0, 0);
    note_->setGeometry(frameWidth(), frameWidth(), width() - 2 * frameWidth(), height);
}

void OutputPane::saveLog() {
    const QString path = context_.dialogs.saveFile(this, tr("Save Log"), jobs::PathRole::output,
                                                   tr("Text (*.txt *.log);;All files (*)"), tr("output.log"));
    if (path.isEmpty()) {
        return;
    }
    const QString text = (note_->isHidden() ? QString() : note_->text() + u'\n') + toPlainText() + u'\n';
    if (replaceFile(path, text.toUtf8()) != ReplaceResult::done) {
        context_.dialogs.showFault(this, tr("The log can't be written to “%1”.").arg(QDir::toNativeSeparators(path)));
    }
}

QSize OutputPane::sizeFor(int columns, int lines) const {
    const int around = 2 * (frameWidth() + qRound(document()->documentMargin()));
    return {columns * fontMetrics().averageCharWidth() + around, lines * fontMetrics().lineSpacing() + around};
}

}  // namespace desktop
