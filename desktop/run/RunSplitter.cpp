#include "desktop/run/RunSplitter.h"

#include "desktop/run/RunPanel.h"

#include <QEvent>
#include <QScrollArea>

namespace desktop {

RunSplitter::RunSplitter(QWidget* form, RunPanel* panel, QWidget* parent)
    : QSplitter(Qt::Vertical, parent), form_(form), panel_(panel) {
    addWidget(form);
    addWidget(panel);
    setChildrenCollapsible(false);
    setHandleWidth(1);
    setStretchFactor(0, 1);
    form->installEventFilter(this);
    connect(this, &QSplitter::splitterMoved, this, [this] { isMoved_ = true; });
}

bool RunSplitter::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::LayoutRequest) {
        // Rows were added or removed; their size is known after the layout.
        QMetaObject::invokeMethod(this, &RunSplitter::fit, Qt::QueuedConnection);
    }
    return QSplitter::eventFilter(watched, event);
}

void RunSplitter::resizeEvent(QResizeEvent* event) {
    QSplitter::resizeEvent(event);
    fit();
}

void RunSplitter::fit() {
    if (!isMoved_) {
        const int room = height() - handleWidth();
        const int form = qMin(wantedHeight(), room - panel_->sizeHint().height());
        setSizes({form, room - form});
    }
}

int RunSplitter::wantedHeight() {
    int wanted = form_->sizeHint().height();
    for (const QScrollArea* area : form_->findChildren<QScrollArea*>()) {
        if (area->widget() != nullptr && area->isVisibleTo(form_)) {
            // The size hint of a scroll area is smaller than its content.
            wanted += area->widget()->sizeHint().height() - area->sizeHint().height();
            area->widget()->installEventFilter(this);
        }
    }
    return wanted;
}

}  // namespace desktop
