#pragma once

#include <QLineEdit>

/// The line that texts and paths are entered in.
class FieldLine : public QLineEdit {
    Q_OBJECT

  public:
    /// As wide as so many characters, where there is room for them.
    explicit FieldLine(int characters, QWidget* parent = nullptr);

    /// Shows both ends of a path that is too long, as long as nobody edits it.
    void setPath(bool isPath);
    /// Shows an example of a good value as long as there is none.
    void setExample(const QString& example);
    void setEditable(bool editable);
    void describe(const QString& text, bool isFault);
    /// Shows that something dragged would land here.
    void setTarget(bool isTarget);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void setGround();

    int characters_;
    int buttonHeight_;  ///< lines are as high as the buttons and choices beside and below them
    bool isPath_ = false;
    bool isFault_ = false;
    bool isTarget_ = false;
};
