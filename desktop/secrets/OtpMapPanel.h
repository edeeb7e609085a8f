#pragma once

#include <QWidget>

namespace desktop {

class OtpMapView;
class ToneLabel;

/// The map of OTP words with a colour key, and below it the purpose of the word under the pointer.
class OtpMapPanel : public QWidget {
    Q_OBJECT

  public:
    explicit OtpMapPanel(QWidget* parent = nullptr);

    [[nodiscard]] OtpMapView& view() const { return *view_; }

  private:
    void showWord(const QString& description);

    OtpMapView* view_;
    ToneLabel* description_;
};

}  // namespace desktop
