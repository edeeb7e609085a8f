#pragma once

#include <QWidget>

class QJsonObject;
class QLabel;
class QTabWidget;
class QTreeWidget;

namespace desktop {

class RateView;

/// Shows a document of `qvora-produce status --json`: counts, attempts over time, failures, keys and stations.
class LedgerView : public QWidget {
    Q_OBJECT

  public:
    explicit LedgerView(QWidget* parent = nullptr);

    /// Shows a document. The chosen rows and the places of the scroll bars stay.
    void show(const QJsonObject& status);

  private:
    QTreeWidget* addTable(const QString& title, const char* name, const QStringList& heads);
    void showCounts(const QJsonObject& status);
    void showRows(QTreeWidget* table, const QList<QStringList>& rows);

    QLabel* counts_;
    RateView* rate_;
    QTabWidget* tabs_;
    QTreeWidget* failures_;
    QTreeWidget* keys_;
    QTreeWidget* stations_;
};

}  // namespace desktop
