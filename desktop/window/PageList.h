#pragma once

#include "desktop/page/PageRow.h"

#include <QList>
#include <QWidget>

class QLineEdit;
class QListWidget;
class QListWidgetItem;

/// The list at the left: all pages under the titles of their groups, and a line that narrows it.
class PageList : public QWidget {
    Q_OBJECT

  public:
    explicit PageList(const QList<PageRow>& pages, QWidget* parent = nullptr);

    /// Chooses the page without a signal.
    void choose(const QString& id);
    /// The page `steps` further in what the list shows; the same at its ends.
    [[nodiscard]] QString neighbour(const QString& id, int steps) const;
    /// Puts the focus into the line that narrows the list.
    void find();

  signals:
    void chosen(const QString& id);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void narrow(const QString& search);
    /// The shown page that has most of `words` in its title; the first of several, null if none is shown.
    [[nodiscard]] QListWidgetItem* bestOf(const QStringList& words) const;

    QLineEdit* search_;
    QListWidget* list_;
    QListWidgetItem* nothing_ = nullptr;  ///< says that no page fits
};
