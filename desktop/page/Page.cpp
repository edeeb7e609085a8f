#include "desktop/page/Page.h"

#include "desktop/page/Dialogs.h"
#include "jobs/jobFile.h"

Page::Page(QWidget* parent) : QWidget(parent) {
}

QUndoStack* Page::undoStack() {
    return nullptr;
}

QString Page::documentName() const {
    return {};
}

QString Page::fileFilter() const {
    return {};
}

bool Page::isModified() const {
    return false;
}

bool Page::mayLose(Dialogs& dialogs) {
    if (!isModified()) {
        return true;
    }
    switch (dialogs.askSave(this, documentName())) {
        case SaveAnswer::save:
            return save();
        case SaveAnswer::discard:
            return true;
        case SaveAnswer::cancel:
            break;
    }
    return false;
}

bool Page::isBusy() const {
    return false;
}

JobPlace Page::otherPlaceOf(const QString& path) const {
    Q_UNUSED(path)
    return {};
}

bool Page::openFile(const QString& path) {
    Q_UNUSED(path)
    return false;
}

bool Page::openFileAs(const QString& path, const QString& kind) {
    Q_UNUSED(kind)
    return openFile(path);
}

bool Page::save() {
    return false;
}

bool Page::saveAs() {
    return false;
}

void Page::run() {
}

void Page::stop() {
}
