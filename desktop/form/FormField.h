#pragma once

#include "jobs/FieldKind.h"
#include "jobs/PathRole.h"
#include "jobs/Verdict.h"

#include <QList>
#include <QStringList>

#include <functional>

namespace desktop {

struct FieldChoice {
    QString value;
    QString label;
};

/// The description of a field for a form. A page makes it from its own table.
struct FormField {
    QString id;
    QString group;  ///< neighbouring fields of one group are under one title
    QString label;  ///< with its mnemonic
    QString tip;    ///< help: shown as a tool tip and by What's This
    jobs::FieldKind kind = jobs::FieldKind::text;
    bool required = false;
    bool keepsOld = false;     ///< an older file at this path is moved aside, so it need not be writable
    bool marksChange = false;  ///< its label is marked while the value isn't the initial one
    QStringList initial;
    QList<FieldChoice> choices;
    QString besideLabel;
    jobs::PathRole role = jobs::PathRole::document;
    bool secret = false;  ///< only its owner should be able to read the file; private keys in PEM always count as such
    QString filter;       ///< the name filter of the file dialog
    QString placeholder;  ///< an example of a good value
    std::function<jobs::Verdict(const QStringList& values)> check;  ///< may be empty
    bool judgesEmpty = false;                                       ///< `check` also judges an empty value
};

}  // namespace desktop
