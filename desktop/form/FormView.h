#pragma once

#include "desktop/form/FormField.h"

#include <QHash>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>

namespace desktop {

struct PageContext;

/// A form: groups with bold titles, labels in one right-aligned column, each field with its verdict in a line below it.
/// A field is judged when it loses the focus, at Return, or after a file was chosen or dropped. While the user types, a
/// shown verdict can only disappear. A missing value is shown after `focusFirstOpenPoint`. Hidden fields and fields
/// that can't be edited count as good.
///
/// Object names of the parts of a field "key": its editor is "key", the line below it "keyVerdict", the button of a
/// path "keyBrowse". The rows of `inFiles` have "key" and "keyBeside", "key2" and "key2Beside" and so on, "keyRemove"
/// and "keyAdd". A value is a list of texts. `inFiles` has two for each row, path and address; other kinds have one or
/// none.
class FormView : public QWidget {
    Q_OBJECT

  public:
    FormView(const QList<FormField>& fields, PageContext& context, QWidget* parent = nullptr);
    ~FormView() override;

    [[nodiscard]] QStringList values(const QString& id) const;
    [[nodiscard]] QHash<QString, QStringList> allValues() const;
    /// Sets and judges a value as if the user had entered it, but emits no `edited`.
    void setValues(const QString& id, const QStringList& values);
    /// Scrolls to a field and moves the focus into it.
    void bringIntoView(const QString& id);
    /// Makes the current values the initial ones, after they were saved.
    void keepValues();
    void setShown(const QString& id, bool shown);
    void setEditable(const QString& id, bool editable);
    /// Sets the base of relative paths. Before the first call, the base is the current folder of the process.
    void setFolder(const QString& folder);
    /// Shows a verdict that the field's own check can't find. The next edit of the field removes it.
    void setVerdict(const QString& id, const jobs::Verdict& verdict);

    /// Judges all fields. Returns the labels of the missing or faulty fields, in order and without mnemonics.
    [[nodiscard]] QStringList openPoints();
    /// Shows every verdict, and moves the focus to the first field that is missing or faulty.
    void focusFirstOpenPoint();

  signals:
    void entered(const QString& id);  ///< a part of the field got the focus
    void edited(const QString& id);   ///< the user changed the value
    void left(const QString& id);     ///< the user has finished with the field; its check has been made

  private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace desktop
