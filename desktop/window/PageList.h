#pragma once

#include "desktop/page/PageRow.h"

#include <QList>
#include <QWidget>

class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace desktop {

/// The list at the left: all pages under the titles of their groups, and a search line.
class PageList : public QWidget {
    Q_OBJECT

  public:
    explicit PageList(const QList<PageRow>& pages, QWidget* parent = nullptr);

    /// Selects the page without a signal.
    void choose(const QString& id);
    /// The page `steps` entries after `id` in the shown list, clamped to the ends of the list.
    [[nodiscard]] QString neighbour(const QString& id, int steps) const;
    /// Puts the focus into the search line.
    void find();

  signals:
    void chosen(const QString& id);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void narrow(const QString& search);
    /// The shown page whose title contains most of `words`. The first one if several do; null if none is shown.
    [[nodiscard]] QListWidgetItem* bestOf(const QStringList& words) const;

    QLineEdit* search_;
    QListWidget* list_;
    QListWidgetItem* nothing_ = nullptr;  ///< the text for a search without results
};

}  // namespace desktop
