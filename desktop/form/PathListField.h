#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

class QPushButton;
class QVBoxLayout;

namespace desktop {

struct PageContext;
class FieldLine;
class PathField;

/// Several paths, one per row. If the field has a `besideLabel`, each row has a text after its path.
class PathListField : public FieldEdit {
    Q_OBJECT

  public:
    PathListField(const FormField& field, PageContext& context, QWidget* parent = nullptr);

    /// Path and text of each row, without rows in which both are empty.
    [[nodiscard]] QStringList values() const override;
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;

  protected:
    void leave() override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    struct Row {
        QWidget* box;
        PathField* path;
        FieldLine* beside;  ///< null if the rows have no text
        QPushButton* remove;
    };

    void addRow();
    /// Puts the paths into rows without a path, and adds rows as needed.
    void fillRows(const QStringList& paths);
    void removeRow(const QWidget* box);
    /// Sets the ids and names of all rows by their order.
    void renameRows();
    void orderTabs();
    void setTarget(bool isTarget);

    FormField field_;
    PageContext& context_;
    QList<Row> rows_;  ///< at least one
    QVBoxLayout* layout_;
    QPushButton* add_;
    bool isEditable_ = true;
};

}  // namespace desktop
