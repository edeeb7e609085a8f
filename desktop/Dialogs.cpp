#include "desktop/Dialogs.h"

#include "desktop/Settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>

namespace {

QString text(const char* source) {
    return QCoreApplication::translate("Dialogs", source);
}

/// What a name gets that has no ending; empty if the filter names none.
QString firstSuffix(const QString& filter) {
    static const QRegularExpression pattern(QStringLiteral("\\*\\.(\\w+)"));
    return pattern.match(filter).captured(1);
}

}  // namespace

Dialogs::Dialogs(Settings& settings) : settings_(settings) {
}

Dialogs::~Dialogs() = default;

QString Dialogs::openFile(QWidget* parent, const QString& title, PathRole role, const QString& filter) {
    QString path = QFileDialog::getOpenFileName(parent, title, settings_.lastFolder(role), filter);
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, QFileInfo(path).absolutePath());
    }
    return path;
}

QString Dialogs::saveFile(QWidget* parent, const QString& title, PathRole role, const QString& filter,
                          const QString& proposed) {
    QFileDialog dialog(parent, title, settings_.lastFolder(role), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(firstSuffix(filter));
    if (!proposed.isEmpty()) {
        dialog.selectFile(QDir(settings_.lastFolder(role)).filePath(proposed));
    }
    QString path = dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, QFileInfo(path).absolutePath());
    }
    return path;
}

QString Dialogs::openFolder(QWidget* parent, const QString& title, PathRole role) {
    QString path = QFileDialog::getExistingDirectory(parent, title, settings_.lastFolder(role));
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, path);
    }
    return path;
}

SaveAnswer Dialogs::askSave(QWidget* parent, const QString& document) {
    QMessageBox box(QMessageBox::NoIcon, text("Save changes?"),
                    text("“%1” has changes that aren't saved. Without saving they are lost.").arg(document),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, parent);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::Save);
    switch (box.exec()) {
        case QMessageBox::Save:
            return SaveAnswer::save;
        case QMessageBox::Discard:
            return SaveAnswer::discard;
        default:
            return SaveAnswer::cancel;
    }
}

bool Dialogs::confirm(QWidget* parent, const QString& question, const QString& action) {
    QMessageBox box(QMessageBox::NoIcon, QCoreApplication::applicationName(), question, QMessageBox::Cancel, parent);
    box.setTextFormat(Qt::PlainText);
    const QPushButton* accept = box.addButton(action, QMessageBox::AcceptRole);
    box.exec();
    return box.clickedButton() == accept;
}

void Dialogs::showFault(QWidget* parent, const QString& fault) {
    QMessageBox box(QMessageBox::Warning, QCoreApplication::applicationName(), fault, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}
