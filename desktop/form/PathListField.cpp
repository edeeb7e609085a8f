#include "desktop/form/PathListField.h"

#include "desktop/form/FieldLine.h"
#include "desktop/form/PathField.h"
#include "desktop/look/theme.h"
#include "desktop/page/Page.h"

#include <QApplication>
#include <QBoxLayout>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPushButton>

#include <algorithm>

namespace desktop {

namespace {

constexpr int besideCharacters = 13;

}  // namespace

PathListField::PathListField(const FormField& field, PageContext& context, QWidget* parent)
    : FieldEdit(parent),
      field_(field),
      context_(context),
      layout_(new QVBoxLayout(this)),
      add_(new QPushButton(tr("Add a File"))) {
    add_->setObjectName(field.id + QLatin1String("Add"));
    add_->setAutoDefault(false);
    watch(add_, tr("Add a file to %1").arg(labelInSentence(plainLabel(field.label))));
    setAcceptDrops(true);
    layout_->setContentsMargins(0, 0, 0, 0);
    addRow();
    // The button becomes a child after the first row, so it follows that row in the order of Tab.
    layout_->addWidget(add_, 0, Qt::AlignLeft);
    connect(add_, &QPushButton::clicked, this, [this] {
        addRow();
        rows_.last().path->first()->setFocus(Qt::OtherFocusReason);
    });
}

QStringList PathListField::values() const {
    QStringList values;
    for (const Row& row : rows_) {
        const QString beside = row.beside == nullptr ? QString() : row.beside->text().trimmed();
        if (!row.path->path().isEmpty() || !beside.isEmpty()) {
            values.append({row.path->path(), beside});
        }
    }
    return values;
}

void PathListField::setValues(const QStringList& values) {
    const qsizetype count = qMax<qsizetype>(1, (values.size() + 1) / 2);
    while (rows_.size() > count) {
        removeRow(rows_.last().box);
    }
    while (rows_.size() < count) {
        addRow();
    }
    for (qsizetype at = 0; at < count; ++at) {
        rows_.at(at).path->setValues(values.mid(2 * at, 1));
        if (rows_.at(at).beside != nullptr) {
            rows_.at(at).beside->setText(values.value(2 * at + 1));
        }
    }
}

void PathListField::setEditable(bool editable) {
    isEditable_ = editable;
    for (const Row& row : rows_) {
        row.path->setEditable(editable);
        // The list accepts dropped files and adds them. A row would replace its path.
        row.path->setAcceptDrops(false);
        row.remove->setEnabled(editable);
        if (row.beside != nullptr) {
            row.beside->setEditable(editable);
        }
    }
    add_->setEnabled(editable);
    setAcceptDrops(editable);
}

void PathListField::describe(const QString& text, bool isFault) {
    // With several rows, the text names the file that has the fault.
    for (const Row& row : rows_) {
        row.path->describe(text, isFault && rows_.size() == 1);
        if (row.beside != nullptr) {
            row.beside->setAccessibleDescription(text);
        }
    }
}

QWidget* PathListField::first() const {
    return rows_.first().path->first();
}

void PathListField::leave() {
    // The user still edits the field while the focus moves from a path to its address.
    const QWidget* next = QApplication::focusWidget();
    if (next == nullptr || !isAncestorOf(next)) {
        emit left();
    }
}

void PathListField::dragEnterEvent(QDragEnterEvent* event) {
    if (!localPathsOf(*event->mimeData()).isEmpty()) {
        setTarget(true);
        event->acceptProposedAction();
    }
}

void PathListField::dragLeaveEvent(QDragLeaveEvent* /*event*/) {
    setTarget(false);
}

void PathListField::dropEvent(QDropEvent* event) {
    setTarget(false);
    event->acceptProposedAction();
    fillRows(localPathsOf(*event->mimeData()));
}

void PathListField::fillRows(const QStringList& paths) {
    if (paths.isEmpty()) {
        return;
    }
    for (const QString& path : paths) {
        const auto isFree = [](const Row& row) { return row.path->path().isEmpty(); };
        if (std::none_of(rows_.begin(), rows_.end(), isFree)) {
            addRow();
        }
        std::find_if(rows_.begin(), rows_.end(), isFree)->path->setValues({path});
    }
    emit edited();
    emit settled();
}

void PathListField::addRow() {
    Row row{new QWidget(this), nullptr, nullptr, nullptr};
    row.path = new PathField(field_, context_, row.box);
    auto* line = new QHBoxLayout(row.box);
    line->setContentsMargins(0, 0, 0, 0);
    line->addWidget(row.path, 1);
    if (!field_.besideLabel.isEmpty()) {
        row.beside = new FieldLine(besideCharacters, row.box);
        row.beside->setFont(Theme::fixedFont());
        row.beside->setPlaceholderText(field_.besideLabel);
        row.beside->setToolTip(field_.besideLabel);
        connect(row.beside, &QLineEdit::textEdited, this, &PathListField::edited);
        connect(row.beside, &QLineEdit::returnPressed, this, &PathListField::settled);
        line->addWidget(row.beside);
    }
    row.remove = new QPushButton(tr("Remove"), row.box);
    row.remove->setAutoDefault(false);
    line->addWidget(row.remove);
    connect(row.path, &FieldEdit::edited, this, &PathListField::edited);
    connect(row.path, &FieldEdit::settled, this, &PathListField::settled);
    connect(row.path, &PathField::moreChosen, this, &PathListField::fillRows);
    connect(row.path, &FieldEdit::entered, this, &PathListField::entered);
    connect(row.path, &FieldEdit::menuAsked, this, &PathListField::menuAsked);
    connect(row.path, &FieldEdit::left, this, &PathListField::leave);
    connect(row.remove, &QPushButton::clicked, this, [this, box = row.box] {
        removeRow(box);
        emit edited();
    });
    layout_->insertWidget(static_cast<int>(rows_.size()), row.box);
    // The layout shows the row only later, but a hidden widget can't get the focus.
    row.box->show();
    rows_.append(row);
    renameRows();
    if (rows_.size() > 1) {
        orderTabs();
    }
    setEditable(isEditable_);
}

void PathListField::removeRow(const QWidget* box) {
    for (qsizetype at = 0; at < rows_.size(); ++at) {
        if (rows_.at(at).box != box) {
            continue;
        }
        const Row row = rows_.takeAt(at);
        const bool hasFocus = row.box->isAncestorOf(QApplication::focusWidget());
        if (rows_.isEmpty()) {
            addRow();
        }
        renameRows();
        if (hasFocus) {
            rows_.at(qMin(at, rows_.size() - 1)).path->first()->setFocus(Qt::OtherFocusReason);
        }
        row.box->hide();
        // The call may come from a button in this box.
        row.box->deleteLater();
        return;
    }
}

void PathListField::renameRows() {
    const QString label = plainLabel(field_.label);
    for (qsizetype at = 0; at < rows_.size(); ++at) {
        const Row& row = rows_.at(at);
        const QString number = at == 0 ? QString() : QString::number(at + 1);
        const QString name = at == 0 ? label : label + u' ' + number;
        row.path->rename(field_.id + number, name);
        if (row.beside != nullptr) {
            row.beside->setObjectName(field_.id + number + QLatin1String("Beside"));
            watch(row.beside, tr("%1 of %2").arg(field_.besideLabel, labelInSentence(name)));
        }
        row.remove->setObjectName(field_.id + number + QLatin1String("Remove"));
        row.remove->setVisible(rows_.size() > 1);
        watch(row.remove, tr("Remove %1").arg(labelInSentence(name)));
    }
}

/// Puts the rows in order for Tab. Qt puts a new row at the end of the window's order.
void PathListField::orderTabs() {
    QWidget* before = nullptr;
    const auto follow = [&before](QWidget* part) {
        if (part != nullptr && before != nullptr) {
            QWidget::setTabOrder(before, part);
        }
        before = part != nullptr ? part : before;
    };
    for (const Row& row : rows_) {
        follow(row.path->first());
        follow(row.path->last());
        follow(row.beside);
        follow(row.remove);
    }
    follow(add_);
}

void PathListField::setTarget(bool isTarget) {
    for (const Row& row : rows_) {
        row.path->setTarget(isTarget);
    }
}

}  // namespace desktop
