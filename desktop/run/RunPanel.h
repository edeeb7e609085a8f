#pragma once

#include <QStringList>
#include <QWidget>

#include <memory>

namespace desktop {

struct PageContext;

/// The lower part of a page that runs the command-line tool. It contains the exact command line with a button that
/// copies it, the button that starts and stops the run, the missing input, the output, and the result with the next
/// steps. It runs exactly the arguments that it shows. Its mnemonics are Y, L, I, U and T.
class RunPanel : public QWidget {
    Q_OBJECT

  public:
    explicit RunPanel(PageContext& context, QWidget* parent = nullptr);
    ~RunPanel() override;

    /// Sets the command that the line shows and Run starts. `openPoints` are the labels of the missing or wrong
    /// fields; the text next to the button names them.
    void setCommand(const QStringList& arguments, const QStringList& openPoints);
    /// Removes the result of the last run, because its input has changed.
    void forgetEnd();
    /// Sets the files that the command makes. After a successful run the panel offers to inspect those that exist.
    void setOutputs(const QStringList& paths);
    /// Sets the folder that the command runs in and that relative paths start from.
    void setFolder(const QString& folder);

    /// Starts the command, unless one is running. The page checks its form first.
    void start();
    /// Asks the running command to end, and kills it after three seconds.
    void stop();
    [[nodiscard]] bool isRunning() const;

  signals:
    void runRequested();  ///< the user pressed Run; the page checks its form, then calls `start`
    void runningChanged();
    void finished(int status);  ///< all output is shown; -1 for a command that didn't start or was stopped
    void inspectRequested(const QString& path);

  protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace desktop
