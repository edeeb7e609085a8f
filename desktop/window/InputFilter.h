#pragma once

#include <QObject>

/// What the whole program does otherwise with input than Qt does: the wheel changes no field that it only passes over,
/// and undo reaches the page's document when the focused line has nothing of its own to take back.
class InputFilter : public QObject {
  public:
    using QObject::QObject;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
