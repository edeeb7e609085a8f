#pragma once

#include <QSplitter>

namespace desktop {

class RunPanel;

/// A form above and its run below. The form gets the height that it needs and the run the rest, but at least its own
/// size hint; a long form scrolls. Once the user has moved the handle, it keeps its position.
class RunSplitter : public QSplitter {
    Q_OBJECT

  public:
    RunSplitter(QWidget* form, RunPanel* panel, QWidget* parent = nullptr);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void fit();
    [[nodiscard]] int wantedHeight();

    QWidget* form_;
    RunPanel* panel_;
    bool isMoved_ = false;
};

}  // namespace desktop
