#pragma once

#include "desktop/form/FormField.h"

#include <QHash>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>

struct PageContext;

/// A form: groups with bold titles, labels in one right-aligned column, each field with its verdict in a line below it.
/// A field is judged when it is left, at Return, or after a file was chosen or dropped; while somebody types, what was
/// said of it can only go away. That something is missing is shown after `focusFirstOpenPoint`. A hidden field and one
/// that can't be edited count as good.
///
/// Names of the parts of a field "key": its editor is "key", the line below it "keyVerdict", the button of a path
/// "keyBrowse". The rows of `inFiles` have "key" and "keyBeside", "key2" and "key2Beside" and so on, "keyRemove" and
/// "keyAdd".
/// A value is a list of texts: one or none for all kinds but `inFiles`, which has two for each row, path and address.
class FormView : public QWidget {
    Q_OBJECT

  public:
    FormView(const QList<FormField>& fields, PageContext& context, QWidget* parent = nullptr);
    ~FormView() override;

    [[nodiscard]] QStringList values(const QString& id) const;
    [[nodiscard]] QHash<QString, QStringList> allValues() const;
    /// As if the user had entered it, but without `edited`.
    void setValues(const QString& id, const QStringList& values);
    /// Brings a field into view, with the focus in it.
    void bringIntoView(const QString& id);
    /// What stands in the fields now becomes what they are set back to and told apart from: it was saved.
    void keepValues();
    void setShown(const QString& id, bool shown);
    void setEditable(const QString& id, bool editable);
    /// The folder that relative paths count from; the program's own as long as none is set.
    void setFolder(const QString& folder);
    /// Says something of a field that its own check can't know. The next edit of the field takes it away.
    void setVerdict(const QString& id, const Verdict& verdict);

    /// The labels, without mnemonics, of the shown fields that are missing or faulty, in order. Judges all of them.
    [[nodiscard]] QStringList openPoints();
    /// Moves the focus to the first of these and shows every verdict.
    void focusFirstOpenPoint();

  signals:
    void entered(const QString& id);  ///< a part of the field got the focus
    void edited(const QString& id);   ///< the user changed the value
    void left(const QString& id);     ///< the user has finished with the field; its check has been made

  private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};
