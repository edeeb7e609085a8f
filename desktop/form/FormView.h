#pragma once

#include "desktop/page/Dialogs.h"
#include "jobs/FieldKind.h"
#include "jobs/Verdict.h"

#include <QHash>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>

struct PageContext;

struct FieldChoice {
    QString value;
    QString label;
};

/// What a form needs to know of a field. A page makes these from its own table.
struct FormField {
    QString id;
    QString group;  ///< neighbouring fields of one group stand under its title
    QString label;  ///< with its mnemonic
    QString tip;    ///< help: shown as tool tip and by What's This
    FieldKind kind = FieldKind::text;
    bool required = false;
    bool keepsOld = false;     ///< an older file at this path is moved aside, so it need not be writable
    bool marksChange = false;  ///< its label is marked as long as the value isn't the initial one
    QStringList initial;
    QList<FieldChoice> choices;
    QString besideLabel;
    PathRole role = PathRole::document;
    bool secret = false;  ///< only its owner should be able to read the file; private keys in PEM always count as such
    QString filter;       ///< of the file dialog
    QString placeholder;  ///< an example of a good value
    std::function<Verdict(const QStringList& values)> check;  ///< may be empty
    bool judgesEmpty = false;                                 ///< its check is asked about nothing too
};

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
