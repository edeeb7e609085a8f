#pragma once

#include <QObject>

namespace desktop {

/// Input handling of the whole program that differs from Qt's: the wheel changes a field only if it has the focus, and
/// undo goes to the page's document if the focused line has nothing to undo.
class InputFilter : public QObject {
  public:
    using QObject::QObject;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

}  // namespace desktop
