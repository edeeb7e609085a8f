#pragma once

#include "desktop/inspector/InspectVerdict.h"

#include <QWidget>

class QHBoxLayout;

namespace desktop {

class ElidedLabel;

/// A verdict across the page: its sign, its text, and buttons for the next steps.
class VerdictBar : public QWidget {
    Q_OBJECT

  public:
    explicit VerdictBar(QWidget* parent = nullptr);

    void setVerdict(const InspectVerdict& verdict);
    void addButton(QWidget* button);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    InspectVerdict verdict_;
    QWidget* place_;  ///< where the sign is painted
    ElidedLabel* headline_;
    ElidedLabel* detail_;
    QHBoxLayout* row_;
};

}  // namespace desktop
