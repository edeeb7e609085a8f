#pragma once

#include <QLineEdit>

namespace desktop {

/// The line in which the user enters a text or a path.
class FieldLine : public QLineEdit {
    Q_OBJECT

  public:
    /// The preferred width is `characters` characters. The line shrinks if there is less room.
    explicit FieldLine(int characters, QWidget* parent = nullptr);

    /// With `isPath`, a line without the focus shows both ends of a text that is too long.
    void setPath(bool isPath);
    /// Shows an example of a good value while the line is empty.
    void setExample(const QString& example);
    void setEditable(bool editable);
    void describe(const QString& text, bool isFault);
    /// Shows whether a dragged file would be dropped here.
    void setTarget(bool isTarget);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void setGround();

    int characters_;
    int buttonHeight_;  ///< lines are as high as buttons and choice fields
    bool isPath_ = false;
    bool isFault_ = false;
    bool isTarget_ = false;
};

}  // namespace desktop
