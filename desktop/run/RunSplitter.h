#pragma once

#include <QSplitter>

class RunPanel;

/// A form above, its run below. The form has the height that it needs and the run what is left, yet never less than it
/// asks for: a long form scrolls. Once somebody has moved the edge between the two, it stays where it was put.
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
