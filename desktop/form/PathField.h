#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

struct PageContext;

class FieldLine;
class QMimeData;
class QPushButton;

/// A path, typed, chosen in a dialog or dropped.
class PathField : public FieldEdit {
    Q_OBJECT

  public:
    PathField(const FormField& field, PageContext& context, QWidget* parent = nullptr);

    /// Another id and label, for one of several.
    void rename(const QString& id, const QString& label);

    [[nodiscard]] QString path() const;
    [[nodiscard]] QStringList values() const override;
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;
    /// The part behind which the next one comes by Tab.
    [[nodiscard]] QWidget* last() const;

    /// Shows that something dragged would land here.
    void setTarget(bool isTarget);

    /// The local paths that are dragged; none if any of it is something else.
    [[nodiscard]] static QStringList pathsOf(const QMimeData& data);

  signals:
    void moreChosen(const QStringList& paths);  ///< besides the one that the field has taken

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
