#include "desktop/form/PathField.h"

#include "desktop/form/FieldLine.h"
#include "desktop/look/theme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Page.h"

#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPushButton>

namespace desktop {

namespace {

constexpr int characters = 70;

}  // namespace

PathField::PathField(const FormField& field, PageContext& context, QWidget* parent)
    : FieldEdit(parent),
      field_(field),
      context_(context),
      line_(new FieldLine(characters, this)),
      button_(new QPushButton(tr("Browse…"), this)) {
    line_->setPath(true);
    line_->setExample(field.placeholder);
    line_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    button_->setAutoDefault(false);
    rename(field.id, plainLabel(field.label));
    setAcceptDrops(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(line_);
    layout->addWidget(button_);
    connect(line_, &QLineEdit::textEdited, this, [this](const QString& text) {
        // A path that is copied in a file manager arrives as a URL.
        if (text.startsWith(QLatin1String("file:///"))) {
            line_->setText(QUrl(text.trimmed()).toLocalFile());
        }
        emit edited();
    });
    connect(line_, &QLineEdit::returnPressed, this, &PathField::settled);
    connect(button_, &QPushButton::clicked, this, &PathField::browse);
}

void PathField::rename(const QString& id, const QString& label) {
    line_->setObjectName(id);
    button_->setObjectName(id + QLatin1String("Browse"));
    watch(line_, label);
    watch(button_, tr("Browse for %1").arg(labelInSentence(label)));
}

QString PathField::path() const {
    return line_->text();
}

QStringList PathField::values() const {
    return path().isEmpty() ? QStringList() : QStringList(path());
}

void PathField::setValues(const QStringList& values) {
    line_->setText(values.value(0));
}

void PathField::setEditable(bool editable) {
    line_->setEditable(editable);
    button_->setEnabled(editable);
    setAcceptDrops(editable);
}

void PathField::describe(const QString& text, bool isFault) {
    line_->describe(text, isFault);
}

QWidget* PathField::first() const {
    return line_;
}

QWidget* PathField::last() const {
    return button_;
}

void PathField::setTarget(bool isTarget) {
    line_->setTarget(isTarget);
}

void PathField::dragEnterEvent(QDragEnterEvent* event) {
    if (localPathsOf(*event->mimeData()).size() == 1) {
        line_->setTarget(true);
        event->acceptProposedAction();
    }
}

void PathField::dragLeaveEvent(QDragLeaveEvent* /*event*/) {
    line_->setTarget(false);
}

void PathField::dropEvent(QDropEvent* event) {
    line_->setTarget(false);
    event->acceptProposedAction();
    take(localPathsOf(*event->mimeData()).value(0));
}

void PathField::browse() {
    const QString title = button_->accessibleName();
    Dialogs& dialogs = context_.dialogs;
    switch (field_.kind) {
        case jobs::FieldKind::outFile:
            take(dialogs.saveFile(this, title, field_.role, field_.filter,
                                  path().isEmpty() ? field_.placeholder : path()));
            break;
        case jobs::FieldKind::folder:
            take(dialogs.openFolder(this, title, field_.role));
            break;
        case jobs::FieldKind::inFiles:
            if (const QStringList paths = dialogs.openFiles(this, title, field_.role, field_.filter);
                !paths.isEmpty()) {
                take(paths.constFirst());
                emit moreChosen(paths.mid(1));
            }
            break;
        default:
            take(dialogs.openFile(this, title, field_.role, field_.filter));
    }
}

void PathField::take(const QString& path) {
    if (path.isEmpty()) {
        return;
    }
    // Insert the path like typed text, so that undo in the line removes it.
    line_->selectAll();
    line_->insert(path);
    emit edited();
    emit settled();
}

}  // namespace desktop
