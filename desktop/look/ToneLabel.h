#pragma once

#include "desktop/look/theme.h"

#include <QLabel>

namespace desktop {

/// Plain text in one of the theme's colours. The label follows a change between light and dark.
class ToneLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ToneLabel(ThemeColor tone, QWidget* parent = nullptr);

    void setTone(ThemeColor tone);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void colour();

    ThemeColor tone_;
};

}  // namespace desktop
