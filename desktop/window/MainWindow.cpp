#include "desktop/window/MainWindow.h"

#include "Preparation/primitives/opensslObjects.h"
#include "desktop/look/applyTheme.h"
#include "desktop/look/plainTip.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Settings.h"
#include "desktop/window/PageList.h"
#include "jobs/jobFile.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QUndoGroup>
#include <QUndoStack>
#include <QVBoxLayout>

namespace desktop {

namespace {

constexpr const char* geometryState = "window";
constexpr const char* splitterState = "pages";

QString text(const char* source) {
    return QCoreApplication::translate("pageTable", source);
}

/// The background of the list, in another colour than the page.
class Panel : public QWidget {
  public:
    using QWidget::QWidget;

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        painter.fillRect(rect(), Theme::color(ThemeColor::panel));
    }
};

}  // namespace

MainWindow::MainWindow(const QList<PageRow>& pages, PageContext& context, QWidget* parent)
    : QMainWindow(parent),
      pageRows_(pages),
      context_(context),
      list_(new PageList(pages)),
      stack_(new QStackedWidget),
      splitter_(new QSplitter),
      headline_(new QLabel),
      summary_(new QLabel),
      openButton_(new QPushButton),
      saveButton_(new QPushButton),
      undo_(new QUndoGroup(this)) {
    wipeFreedOpensslMemory();  // before any page reads a key
    auto* left = new Panel;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins({});
    leftLayout->addWidget(list_);

    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins({});
    rightLayout->setSpacing(0);
    rightLayout->addWidget(makeHeader());
    rightLayout->addWidget(stack_, 1);

    splitter_->addWidget(left);
    splitter_->addWidget(right);
    splitter_->setCollapsible(0, false);
    splitter_->setCollapsible(1, false);
    splitter_->setStretchFactor(1, 1);
    splitter_->setHandleWidth(1);
    splitter_->setSizes({Theme::groupGap() * 13, Theme::groupGap() * 58});
    setCentralWidget(splitter_);

    makeMenus();
    connect(list_, &PageList::chosen, this, [this](const QString& id) { (void)showPage(id); });

    resize(1280, 800);
    restoreGeometry(context_.settings.state(QLatin1String(geometryState)));
    splitter_->restoreState(context_.settings.state(QLatin1String(splitterState)));
}

QWidget* MainWindow::makeHeader() {
    auto* header = new QWidget;
    headline_->setFont(Theme::headlineFont());
    headline_->setTextFormat(Qt::PlainText);
    summary_->setTextFormat(Qt::PlainText);
    summary_->setForegroundRole(QPalette::PlaceholderText);
    summary_->setWordWrap(true);

    auto* layout = new QGridLayout(header);
    const int gap = Theme::groupGap();
    layout->setContentsMargins(gap, Theme::labelGap(), gap, Theme::labelGap());
    layout->setVerticalSpacing(Theme::rowGap() / 3);
    layout->addWidget(headline_, 0, 0);
    layout->addWidget(summary_, 1, 0, 1, 2);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(Theme::rowGap());
    buttons->addWidget(openButton_);
    buttons->addWidget(saveButton_);
    layout->addLayout(buttons, 0, 1);
    layout->setColumnStretch(0, 1);
    connect(openButton_, &QPushButton::clicked, this, &MainWindow::open);
    connect(saveButton_, &QPushButton::clicked, this, [this] { saveAction_->trigger(); });
    return header;
}

void MainWindow::makeMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    openAction_ = file->addAction(tr("&Open…"), QKeySequence::Open, this, &MainWindow::open);
    saveAction_ = file->addAction(tr("&Save"), QKeySequence::Save, this, [this] { (void)page_->save(); });
    saveAsAction_ = file->addAction(tr("Save &As…"), QKeySequence::SaveAs, this, [this] { (void)page_->saveAs(); });
    file->addSeparator();
    file->addAction(tr("&Quit"), QKeySequence::Quit, this, &QWidget::close);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    QAction* undo = undo_->createUndoAction(this, tr("&Undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction* redo = undo_->createRedoAction(this, tr("&Redo"));
    redo->setShortcut(QKeySequence::Redo);
    edit->addActions({undo, redo});

    QMenu* job = menuBar()->addMenu(tr("&Job"));
    runAction_ = job->addAction(tr("&Run"), QKeySequence(Qt::CTRL | Qt::Key_R), this, [this] { page_->run(); });
    stopAction_ = job->addAction(tr("&Stop"), QKeySequence(Qt::CTRL | Qt::Key_Period), this, [this] { page_->stop(); });

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(tr("&Find a Page"), QKeySequence(Qt::CTRL | Qt::Key_K), list_, &PageList::find);
    view->addAction(tr("&Next Page"), QKeySequence(Qt::CTRL | Qt::Key_PageDown), this, [this] { step(1); });
    view->addAction(tr("&Previous Page"), QKeySequence(Qt::CTRL | Qt::Key_PageUp), this, [this] { step(-1); });
    view->addSeparator();
    auto* schemes = new QActionGroup(this);
    const struct {
        ThemeScheme scheme;
        QString name;
    } looks[] = {{ThemeScheme::system, tr("Look of the &System")},
                 {ThemeScheme::light, tr("&Light Look")},
                 {ThemeScheme::dark, tr("&Dark Look")}};
    for (const auto& look : looks) {
        QAction* action = schemes->addAction(look.name);
        action->setCheckable(true);
        action->setChecked(look.scheme == context_.settings.scheme());
        connect(action, &QAction::triggered, this, [this, scheme = look.scheme] { setScheme(scheme); });
        view->addAction(action);
    }

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("&About"), this, &MainWindow::about);
}

bool MainWindow::showPage(const QString& id) {
    for (const PageRow& row : pageRows_) {
        if (id == QLatin1String(row.id)) {
            row_ = &row;
            page_ = pageOf(row);
            stack_->setCurrentWidget(page_);
            undo_->setActiveStack(page_->undoStack());
            list_->choose(id);
            context_.settings.setLastPage(id);
            refresh();
            return true;
        }
    }
    return false;
}

Page* MainWindow::pageOf(const PageRow& row) {
    Page*& page = pages_[QLatin1String(row.id)];
    if (page == nullptr) {
        page = row.make(row, context_, this);
        stack_->addWidget(page);
        if (page->undoStack() != nullptr) {
            undo_->addStack(page->undoStack());
        }
        connect(page, &Page::stateChanged, this, &MainWindow::refresh);
        connect(page, &Page::handOver, this, [this](const QString& id, const QString& path, const QString& kind) {
            if ((id.isEmpty() || showPage(id)) && !path.isEmpty()) {
                (void)openFile(path, kind);
            }
        });
    }
    return page;
}

void MainWindow::refresh() {
    if (page_ == nullptr) {
        return;
    }
    const QString title = text(row_->title);
    const QString name = page_->documentName();
    headline_->setText(title);
    summary_->setText(text(row_->summary));
    setWindowTitle(
        (name.isEmpty()
             ? title
             : tr("%1[*] – %2").arg(QString(name).replace(QLatin1String("[*]"), QLatin1String("[*][*]")), title)) +
        tr(" – %1").arg(QCoreApplication::applicationName()));
    setWindowModified(!name.isEmpty() && page_->isModified());
    const bool hasFiles = !page_->fileFilter().isEmpty();
    openAction_->setEnabled(hasFiles && !page_->isBusy());
    saveAction_->setEnabled(!name.isEmpty());
    saveAsAction_->setEnabled(!name.isEmpty());
    stopAction_->setEnabled(page_->isBusy());
    runAction_->setEnabled(!page_->isBusy());
    openButton_->setText(tr("Open…"));
    openButton_->setToolTip(tr("Opens on this page: %1").arg(page_->fileFilter().section(QLatin1String(";;"), 0, 0)));
    openButton_->setVisible(hasFiles);
    openButton_->setEnabled(openAction_->isEnabled());
    saveButton_->setText(tr("Save"));
    setPlainTip(*saveButton_, tr("Saves “%1”.").arg(name));
    saveButton_->setVisible(!name.isEmpty());
}

void MainWindow::open() {
    const QString path = context_.dialogs.openFile(this, tr("Open"), jobs::PathRole::document,
                                                   page_ == nullptr ? QString() : page_->fileFilter());
    if (!path.isEmpty()) {
        (void)openFile(path);
    }
}

bool MainWindow::openFile(const QString& path, const QString& kind) {
    const jobs::JobPlace other = page_ == nullptr ? jobs::JobPlace() : page_->otherPlaceOf(path);
    if (showPage(other.page)) {  // the previous page keeps its document
        return other.file.isEmpty() || openFile(other.file, kind);
    }
    return page_ != nullptr && !page_->isBusy() && page_->mayLose() && page_->openFileAs(path, kind);
}

void MainWindow::step(int steps) {
    if (row_ != nullptr) {
        (void)showPage(list_->neighbour(QLatin1String(row_->id), steps));
    }
}

void MainWindow::setScheme(ThemeScheme scheme) {
    context_.settings.setScheme(scheme);
    applyTheme(*qobject_cast<QApplication*>(QCoreApplication::instance()), scheme);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    for (const PageRow& row : pageRows_) {
        Page* page = pages_.value(QLatin1String(row.id));
        if (page == nullptr) {
            continue;
        }
        if (page->isBusy()) {
            (void)showPage(QLatin1String(row.id));
            if (!context_.dialogs.confirm(this, tr("Something still runs on this page. Stop it?"), tr("Stop"))) {
                return;
            }
            page->stop();
        }
        if (page->isModified()) {
            (void)showPage(QLatin1String(row.id));
            if (!page->mayLose()) {
                return;
            }
        }
    }
    context_.settings.setState(QLatin1String(geometryState), saveGeometry());
    context_.settings.setState(QLatin1String(splitterState), splitter_->saveState());
    event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        update();
    }
}

void MainWindow::about() {
    QMessageBox box(
        QMessageBox::NoIcon, tr("About"),
        tr("%1 %2\n\nPackages and provisions firmware of secure microcontrollers. Every job is a command line of "
           "QVORASealedBundleBuilder_CLI, which the page shows and runs.\n\nLicence: Apache-2.0.")
            .arg(QCoreApplication::applicationName(), QCoreApplication::applicationVersion()),
        QMessageBox::Ok, this);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

}  // namespace desktop
