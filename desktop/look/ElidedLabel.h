#pragma once

#include "desktop/look/theme.h"

#include <QLabel>

#include <optional>

namespace desktop {

/// One line of plain text that ends in "…" if it has too little room. It never widens its parent.
class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    /// Without a tone the text has the palette's colour.
    void setTone(std::optional<ThemeColor> tone);

    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    std::optional<ThemeColor> tone_;
};

}  // namespace desktop
