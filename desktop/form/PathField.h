#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

class QPushButton;

namespace desktop {

struct PageContext;
class FieldLine;

/// A path that the user types, chooses in a dialog or drops.
class PathField : public FieldEdit {
    Q_OBJECT

  public:
    PathField(const FormField& field, PageContext& context, QWidget* parent = nullptr);

    /// Sets another id and label, for a field that is one of several.
    void rename(const QString& id, const QString& label);

    [[nodiscard]] QString path() const;
    [[nodiscard]] QStringList values() const override;
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;
    /// The last part in the order of Tab.
    [[nodiscard]] QWidget* last() const;

    /// Shows whether a dragged file would be dropped here.
    void setTarget(bool isTarget);

  signals:
    void moreChosen(const QStringList& paths);  ///< the other paths, if the user chose several

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void browse();
    void take(const QString& path);

    FormField field_;
    PageContext& context_;
    FieldLine* line_;
    QPushButton* button_;
};

}  // namespace desktop
