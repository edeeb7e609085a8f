#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

struct PageContext;

class FieldLine;
class PathField;
class QPushButton;
class QVBoxLayout;

/// Several paths, one a row, each with a text beside it if the field has one.
class PathListField : public FieldEdit {
    Q_OBJECT

  public:
    PathListField(const FormField& field, PageContext& context, QWidget* parent = nullptr);

    /// Path and text of each row that isn't wholly empty.
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
        FieldLine* beside;  ///< null without a text
        QPushButton* remove;
    };

    void addRow();
    /// Takes the paths into rows without one, and adds what rows are wanting.
    void fillRows(const QStringList& paths);
    void removeRow(const QWidget* box);
    /// Gives all rows their ids and names by their order.
    void renameRows();
    void orderTabs();
    void setTarget(bool isTarget);

    FormField field_;
    PageContext& context_;
    QList<Row> rows_;  ///< always one at least
    QVBoxLayout* layout_;
    QPushButton* add_;
    bool isEditable_ = true;
};
