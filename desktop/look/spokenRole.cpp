#include "desktop/look/spokenRole.h"

#include <QAccessibleWidget>
#include <QVariant>
#include <QWidget>

namespace desktop {

namespace {

constexpr const char* roleProperty = "qvoraSpokenRole";

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    auto* view = qobject_cast<QWidget*>(object);
    const QVariant role = view == nullptr ? QVariant() : view->property(roleProperty);
    return role.isValid() ? new QAccessibleWidget(view, static_cast<QAccessible::Role>(role.toInt())) : nullptr;
}

}  // namespace

void setSpokenRole(QWidget& view, QAccessible::Role role) {
    view.setProperty(roleProperty, static_cast<int>(role));
    QAccessible::installFactory(makeInterface);  // a second call changes nothing
}

}  // namespace desktop
