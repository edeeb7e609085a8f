#pragma once

#include <QStringList>
#include <QWidget>

#include <memory>

struct PageContext;

/// The lower part of a page that runs the command-line tool: the exact command line with a button that copies it, the
/// filled button that runs and stops it, what is still missing, the output as it comes, and how it ended with the next
/// steps. It runs the very arguments that it shows. Its mnemonics are Y, L, I, U and T.
class RunPanel : public QWidget {
    Q_OBJECT

  public:
    explicit RunPanel(PageContext& context, QWidget* parent = nullptr);
    ~RunPanel() override;

    /// What Run starts and the line shows; `openPoints` names what is missing or wrong, for the text beside the button.
    void setCommand(const QStringList& arguments, const QStringList& openPoints);
    /// Takes away how the last run ended: what it was made from has changed.
    void forgetEnd();
    /// The files that the command makes: those that are there after a good run are offered for a look.
    void setOutputs(const QStringList& paths);
    /// The folder that the command runs in and that relative paths count from.
    void setFolder(const QString& folder);

    /// Starts the command, unless one runs. The page judges its form before.
    void start();
    /// Asks the running command to end, and ends it three seconds later if it hasn't.
    void stop();
    [[nodiscard]] bool isRunning() const;

  signals:
    void runRequested();  ///< the button was pressed and nothing runs: judge, then `start`
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
