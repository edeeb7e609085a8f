#pragma once

#include "desktop/look/theme.h"

#include <QLabel>

#include <optional>

/// One line of plain text that ends in "…" where it has too little room, and never widens what it stands in.
class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    /// Without one the text has the palette's colour.
    void setTone(std::optional<ThemeColor> tone);

    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    std::optional<ThemeColor> tone_;
};
