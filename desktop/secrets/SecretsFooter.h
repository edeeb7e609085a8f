#pragma once

#include "desktop/look/StatusMark.h"

class QLabel;
class QPushButton;

namespace desktop {

/// The footer of the secrets editor: collisions, unusable items and missing items, the result of making an image with
/// the next step, and the button that makes it.
class SecretsFooter : public QWidget {
    Q_OBJECT

  public:
    explicit SecretsFooter(QWidget* parent = nullptr);

    struct Remarks {
        QString collisions;
        QString misplaced;
        QString unusable;
        QString missing;
    };

    /// Each remark is a sentence or empty. If all are empty, the footer says that the items are good.
    void showRemarks(const Remarks& remarks, bool hasItems);
    void showResult(StatusMark::Kind kind, const QString& text);
    void offerInspect(bool isOffered);
    void setBusy(bool isBusy);

  signals:
    void makeRequested();
    void inspectRequested();

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    struct Line {
        QWidget* row = nullptr;
        StatusMark* mark = nullptr;
        QLabel* text = nullptr;
    };

    [[nodiscard]] Line makeLine(const char* name);
    static void showLine(const Line& line, StatusMark::Kind kind, const QString& text);

    Line collisions_;
    Line misplaced_;
    Line unusable_;
    Line missing_;
    Line allGood_;
    Line result_;
    QPushButton* inspect_;
    QPushButton* make_;
};

}  // namespace desktop
