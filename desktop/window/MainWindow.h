#pragma once

#include "desktop/look/theme.h"
#include "desktop/page/PageRow.h"

#include <QHash>
#include <QList>
#include <QMainWindow>

class QLabel;
class QPushButton;
class QSplitter;
class QStackedWidget;
class QUndoGroup;

namespace desktop {

class PageList;

/// The window: the list of pages at the left, the chosen page under its headline at the right. It makes a page when the
/// user first chooses it.
class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    /// `pages` must outlive the window.
    MainWindow(const QList<PageRow>& pages, PageContext& context, QWidget* parent = nullptr);

    /// Shows the page with this id; false if there is none.
    [[nodiscard]] bool showPage(const QString& id);
    /// The shown page; null before the first one.
    [[nodiscard]] Page* page() const { return page_; }
    /// Opens a file on the shown page, after asking about unsaved changes.
    [[nodiscard]] bool openFile(const QString& path, const QString& kind = QString());

  protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void makeMenus();
    QWidget* makeHeader();
    [[nodiscard]] Page* pageOf(const PageRow& row);
    void open();
    void step(int steps);
    void setScheme(ThemeScheme scheme);
    void refresh();
    void about();

    const QList<PageRow>& pageRows_;
    PageContext& context_;
    PageList* list_;
    QStackedWidget* stack_;
    QSplitter* splitter_;
    QLabel* headline_;
    QLabel* summary_;
    QPushButton* openButton_;
    QPushButton* saveButton_;
    QUndoGroup* undo_;
    QAction* openAction_ = nullptr;
    QAction* saveAction_ = nullptr;
    QAction* saveAsAction_ = nullptr;
    QAction* runAction_ = nullptr;
    QAction* stopAction_ = nullptr;
    QHash<QString, Page*> pages_;
    const PageRow* row_ = nullptr;
    Page* page_ = nullptr;
};

}  // namespace desktop
