#pragma once

#include <QList>
#include <QString>
#include <QWidget>

namespace desktop {

/// The attempts that ended in one interval of time.
struct RateBar {
    QString start;  ///< the start of the interval, as the view shows it
    qint64 proven = 0;
    qint64 failed = 0;
    qint64 other = 0;  ///< interrupted or recalled
    [[nodiscard]] qint64 total() const { return proven + failed + other; }
};

/// Draws attempts over time as stacked bars. Failed ones are hatched, so that they differ without colour.
class RateView : public QWidget {
    Q_OBJECT

  public:
    explicit RateView(QWidget* parent = nullptr);

    void show(const QList<RateBar>& bars);
    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QList<RateBar> bars_;
};

}  // namespace desktop
