#include "desktop/page/Page.h"

#include "desktop/page/Dialogs.h"
#include "jobs/jobFile.h"

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

namespace desktop {

QStringList localPathsOf(const QMimeData& data) {
    QStringList paths;
    for (const QUrl& url : data.urls()) {
        if (!url.isLocalFile()) {
            return {};
        }
        paths.append(url.toLocalFile());
    }
    return paths;
}

Page::Page(PageContext& context, QWidget* parent) : QWidget(parent), context_(context) {
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

bool Page::mayLose() {
    if (!isModified()) {
        return true;
    }
    switch (context_.dialogs.askSave(this, documentName())) {
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

jobs::JobPlace Page::otherPlaceOf(const QString& path) const {
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

bool Page::mayReplace() {
    return mark_.mayReplace(context_.dialogs, this);
}

bool Page::acceptsFiles(const QStringList& paths) const {
    return paths.size() == 1 && !isBusy();
}

void Page::takeFiles(const QStringList& paths) {
    emit handOver(QString(), paths.constFirst());  // the window asks about changes
}

void Page::dragEnterEvent(QDragEnterEvent* event) {
    if (acceptsFiles(localPathsOf(*event->mimeData()))) {
        event->acceptProposedAction();
    }
}

void Page::dropEvent(QDropEvent* event) {
    const QStringList paths = localPathsOf(*event->mimeData());
    if (acceptsFiles(paths)) {
        event->acceptProposedAction();
        takeFiles(paths);
    }
}

}  // namespace desktop
