#include "desktop/secrets/SecretEditor.h"

#include "desktop/form/VerdictLine.h"
#include "desktop/look/plainTip.h"
#include "desktop/look/theme.h"
#include "desktop/page/Dialogs.h"
#include "desktop/page/Page.h"
#include "jobs/counted.h"

#include "files/wipe.h"
#include "images/imageLayout.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFormLayout>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSpinBox>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

constexpr qsizetype previewWords = 8;
constexpr qsizetype previewColumns = 4;

QByteArrayList noncePath() {
    return {"Protection", "Algorithm", "Nonce"};
}

QLabel* groupTitle(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QFormLayout* makeForm() {
    auto* form = new QFormLayout;
    form->setContentsMargins({});
    form->setLabelAlignment(Qt::AlignRight);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setHorizontalSpacing(Theme::labelGap());
    form->setVerticalSpacing(Theme::rowGap());
    return form;
}

/// Shows `text`. If it is too long for a line, shortens it and makes the line read-only.
void setLine(QLineEdit* line, const QString& text) {
    constexpr qsizetype longestLine = 4096;
    constexpr qsizetype shownOfLonger = 64;
    line->setReadOnly(text.size() > longestLine);
    const QString shown = line->isReadOnly() ? text.left(shownOfLonger) + u'…' : text;
    if (line->text() != shown) {  // setting the same text would move the cursor
        line->setText(shown);
    }
}

QString sizeText(const SecretSize& size) {
    const qint64 bytes = size.bytes - size.nonceBytes;
    const QString data = jobs::counted(bytes, SecretEditor::tr("1 byte"), SecretEditor::tr("%1 bytes"));
    return size.nonceBytes > 0 ? SecretEditor::tr("%1 after a nonce of %2").arg(data).arg(size.nonceBytes) : data;
}

/// Whether the item has an empty value, which may be replaced without asking.
bool hasEmptyValue(const SecretItem& item) {
    return item.PathOrWord.isEmpty() || (!item.isFile && item.PathOrWord == QLatin1String("0x00000000"));
}

}  // namespace

SecretEditor::SecretEditor(SecretsDocument& document, Dialogs& dialogs, QWidget* parent)
    : QWidget(parent),
      document_(document),
      dialogs_(dialogs),
      name_(new QLineEdit),
      fuse_(new QComboBox),
      index_(new QSpinBox),
      place_(new VerdictLine(true)),
      expected_(new QSpinBox),
      mandatory_(new QCheckBox(tr("Must &be filled"))),
      kind_(new QComboBox),
      content_(new QLineEdit),
      browse_(new QPushButton(tr("Brow&se…"))),
      dataVerdict_(new VerdictLine(true)),
      showData_(new QCheckBox(tr("Sh&ow data"))),
      preview_(new QLabel),
      word_(new QLabel),
      nonce_(new QLineEdit),
      browseNonce_(new QPushButton(tr("Browse…"))),
      nonceVerdict_(new VerdictLine(false)) {
    QFormLayout* form = makeForm();
    makeItemFields(*form);
    makeDataFields(*form);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addLayout(form);
    layout->addSpacing(Theme::labelGap());
    int labels = 0;
    for (int row = 0; row < form->rowCount(); ++row) {
        const QLayoutItem* label = form->itemAt(row, QFormLayout::LabelRole);
        labels = std::max(labels, label == nullptr ? 0 : label->sizeHint().width());
    }
    layout->addWidget(makeProtectionFields(labels));
    layout->addStretch(1);
    showItem(-1, {}, {});
}

void SecretEditor::makeItemFields(QFormLayout& form) {
    name_->setObjectName(QStringLiteral("name"));
    fuse_->setObjectName(QStringLiteral("fuse"));
    index_->setObjectName(QStringLiteral("index"));
    place_->setObjectName(QStringLiteral("place"));
    expected_->setObjectName(QStringLiteral("expected"));
    mandatory_->setObjectName(QStringLiteral("mandatory"));
    fuse_->setMinimumContentsLength(12);
    fuse_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    fuse_->setToolTip(tr("Words with a name in the description: fills index, number of words and protection."));
    index_->setRange(0, 0xFFFF);
    expected_->setRange(0, 0xFFFF);
    expected_->setSpecialValueText(tr("any number"));
    expected_->setToolTip(tr("How many words the data should have."));

    form.addRow(groupTitle(tr("Item")));
    form.addRow(tr("&Name"), name_);
    form.addRow(tr("&Purpose"), fuse_);
    auto* numbers = new QHBoxLayout;
    auto* expectedLabel = new QLabel(tr("Words e&xpected"));
    expectedLabel->setBuddy(expected_);
    numbers->addWidget(index_, 1);
    numbers->addSpacing(Theme::labelGap());
    numbers->addWidget(expectedLabel);
    numbers->addSpacing(Theme::rowGap());
    numbers->addWidget(expected_, 1);
    auto* firstWord = new QLabel(tr("Firs&t word"));
    firstWord->setBuddy(index_);
    form.addRow(firstWord, numbers);
    form.addRow(QString(), place_);
    form.addRow(QString(), mandatory_);

    connectLine(name_, {"Name"}, tr("Rename Item"));
    connect(fuse_, &QComboBox::activated, this, &SecretEditor::pickFuse);
    connect(index_, &QSpinBox::valueChanged, this, [this](int value) {
        change({{{"Offset"}, secretNumber(static_cast<std::uint32_t>(value))}}, tr("Change First Word"));
    });
    connect(index_, &QSpinBox::editingFinished, &document_, &SecretsDocument::endField);
    connect(expected_, &QSpinBox::valueChanged, this, [this](int value) {
        change({{{"expectedSize"}, QString::number(value * int{otpWordSize})}}, tr("Change Expected Words"));
    });
    connect(expected_, &QSpinBox::editingFinished, &document_, &SecretsDocument::endField);
    connect(mandatory_, &QCheckBox::toggled, this, [this](bool isOn) {
        change({{{"isMandatory"}, isOn ? QStringLiteral("1") : QStringLiteral("0")}}, tr("Change Must Be Filled"));
        document_.endField();
    });
}

void SecretEditor::makeDataFields(QFormLayout& form) {
    kind_->setObjectName(QStringLiteral("kind"));
    content_->setObjectName(QStringLiteral("content"));
    content_->setAccessibleName(tr("Content"));
    browse_->setObjectName(QStringLiteral("browse"));
    dataVerdict_->setObjectName(QStringLiteral("dataVerdict"));
    showData_->setObjectName(QStringLiteral("showData"));
    preview_->setObjectName(QStringLiteral("preview"));
    // the entries are in the order of SecretKind
    kind_->addItems({tr("Words in hexadecimal"), tr("File of numbers, low byte first"), tr("File as it is")});
    preview_->setFont(Theme::fixedFont());
    preview_->setTextFormat(Qt::PlainText);
    preview_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    preview_->setMinimumHeight(2 * QFontMetrics(preview_->font()).lineSpacing());
    preview_->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* gap = new QWidget;
    gap->setFixedHeight(Theme::rowGap() / 2);
    form.addRow(gap);
    form.addRow(groupTitle(tr("Data")));
    form.addRow(tr("&Given as"), kind_);
    QWidget* content = makePathField(content_, browse_, tr("Data of the Item"), {"PathOrWord"});
    auto* contentLabel = new QLabel(tr("&Content"));
    contentLabel->setBuddy(content_);
    form.addRow(contentLabel, content);
    form.addRow(QString(), dataVerdict_);
    form.addRow(QString(), showData_);
    form.addRow(QString(), preview_);

    connectLine(content_, {"PathOrWord"}, tr("Change Content"));
    connect(kind_, &QComboBox::activated, this, &SecretEditor::pickKind);
    connect(showData_, &QCheckBox::toggled, this, &SecretEditor::showsDataChanged);
}

/// `labels` is the width of the labels above. The left labels here align with them.
QWidget* SecretEditor::makeProtectionFields(int labels) {
    auto* widget = new QWidget;
    auto* grid = new QGridLayout(widget);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(Theme::rowGap());
    grid->setVerticalSpacing(Theme::rowGap());
    word_->setObjectName(QStringLiteral("protectionWord"));
    word_->setFont(Theme::fixedFont());
    word_->setForegroundRole(QPalette::PlaceholderText);
    grid->addWidget(groupTitle(tr("Protection")), 0, 0, 1, 2);
    grid->addWidget(word_, 0, 2, 1, 2, Qt::AlignRight);
    int cell = 2;
    for (std::size_t i = 0; i < protection_.size(); ++i, ++cell) {
        const ProtectionRow& row = protectionRows[i];
        ProtectionEditor& editor = protection_[i];
        editor.label = new QLabel(i == 0 ? tr("Loc&k") : tr("%1").arg(QLatin1String(row.name)));
        editor.values = new QComboBox;
        editor.values->setObjectName(QLatin1String(row.name));
        editor.values->setMinimumContentsLength(9);
        editor.values->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        editor.label->setBuddy(editor.values);
        grid->addWidget(editor.label, cell / 2, cell % 2 * 2, Qt::AlignRight);
        grid->addWidget(editor.values, cell / 2, cell % 2 * 2 + 1);
        connect(editor.values, &QComboBox::activated, this, [this, &editor, &row] {
            change({{{"Protection", row.name, "BitValue"}, secretNumber(editor.values->currentData().toUInt())}},
                   tr("Change %1").arg(QLatin1String(row.name)));
            document_.endField();
        });
    }
    grid->setColumnMinimumWidth(0, labels + Theme::labelGap() - Theme::rowGap());
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);

    nonce_->setObjectName(QStringLiteral("nonce"));
    nonce_->setAccessibleName(tr("Nonce"));
    browseNonce_->setObjectName(QStringLiteral("browseNonce"));
    browseNonce_->setAccessibleName(tr("Browse for the nonce"));
    browse_->setAccessibleName(tr("Browse for the content"));
    auto* nonceLabel = new QLabel(tr("Nonce"));
    nonceLabel->setBuddy(nonce_);
    const int row = (cell + 1) / 2;
    grid->addWidget(nonceLabel, row, 0, Qt::AlignRight);
    grid->addWidget(makePathField(nonce_, browseNonce_, tr("Nonce of the Item"), noncePath()), row, 1, 1, 3);
    grid->addWidget(nonceVerdict_, row + 1, 1, 1, 3);
    connectLine(nonce_, noncePath(), tr("Change Nonce"));
    return widget;
}

QWidget* SecretEditor::makePathField(QLineEdit* line, QPushButton* browse, const QString& title,
                                     const QByteArrayList& path) {
    auto* field = new QWidget;
    auto* layout = new QHBoxLayout(field);
    layout->setContentsMargins({});
    layout->addWidget(line, 1);
    layout->addWidget(browse);
    connect(browse, &QPushButton::clicked, this, [this, title, path] {
        const QString chosen = dialogs_.openFile(this, title, jobs::PathRole::key, QString());
        if (!chosen.isEmpty()) {
            takeFile(path, chosen);
        }
    });
    line->installEventFilter(this);
    return field;
}

bool SecretEditor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::DragEnter && event->type() != QEvent::Drop) {
        return QWidget::eventFilter(watched, event);
    }
    auto* drop = static_cast<QDropEvent*>(event);
    const QStringList files = localPathsOf(*drop->mimeData());
    if (files.size() != 1) {
        return QWidget::eventFilter(watched, event);
    }
    drop->acceptProposedAction();
    if (event->type() == QEvent::Drop) {
        takeFile(watched == content_ ? QByteArrayList{"PathOrWord"} : noncePath(), files.constFirst());
    }
    return true;
}

/// Sets a path. If the item's data was words, it becomes a file.
void SecretEditor::takeFile(const QByteArrayList& path, const QString& file) {
    if (row_ < 0) {
        return;
    }
    QList<SecretChange> changes = {{path, writtenPath(file)}};
    if (path != noncePath() && !document_.items().at(row_).isFile) {
        changes += {{"isFile"}, QStringLiteral("1")};
        changes += {{"Format"}, QStringLiteral("2")};
    }
    change(changes, tr("Choose File"));
    document_.endField();
}

void SecretEditor::connectLine(QLineEdit* line, const QByteArrayList& path, const QString& undoText) {
    connect(line, &QLineEdit::textEdited, this, [this, path, undoText](const QString& text) {
        change({{path, text}}, undoText);
    });
    connect(line, &QLineEdit::editingFinished, &document_, &SecretsDocument::endField);
}

/// The path that the document stores for a file. It is relative if possible, but never starts with a dot, because the
/// library treats such a path in a special way.
QString SecretEditor::writtenPath(const QString& path) const {
    const QString relative = QDir(document_.folder()).relativeFilePath(path);
    return document_.path().isEmpty() || relative.startsWith(u'.') ? path : relative;
}

void SecretEditor::change(const QList<SecretChange>& changes, const QString& undoText) {
    if (!isShowing_ && row_ >= 0) {
        document_.change(row_, undoText, changes, undoText);
    }
}

void SecretEditor::setFuses(const devices::DeviceFuses& fuses) {
    fuses_ = fuses;
    fuse_->clear();
    fuse_->addItem(tr("Other words"));
    for (const devices::FuseWords& words : fuses_.words) {
        fuse_->addItem(tr("%1  %2").arg(wordRange(words.index, words.end()), words.name));
        fuse_->setItemData(fuse_->count() - 1, plainTip(words.description), Qt::ToolTipRole);
    }
    for (std::size_t i = 0; i < protection_.size(); ++i) {
        QString tip;
        for (const devices::DeviceField& field : std::as_const(fuses_.protection)) {
            if (field.name == QLatin1String(protectionRows[i].name)) {
                tip = field.description;
            }
        }
        setPlainTip(*protection_[i].values, tip);
    }
}

QList<SecretChange> SecretEditor::changesFor(const SecretItem& item, const devices::FuseWords& fuse) const {
    QList<SecretChange> changes = {{{"Offset"}, secretNumber(fuse.index)}};
    const bool hasOtherName = item.Name.isEmpty() ||
                              std::any_of(fuses_.words.begin(), fuses_.words.end(),
                                          [&item](const devices::FuseWords& other) { return other.name == item.Name; });
    if (hasOtherName) {
        changes += {{"Name"}, fuse.name};
    }
    if (fuse.count > 1 || item.expectedSize > 0) {
        changes += {{"expectedSize"}, QString::number(fuse.count * otpWordSize)};
    }
    if (hasEmptyValue(item)) {
        changes += {{"isFile"}, fuse.count > 1 ? QStringLiteral("1") : QStringLiteral("0")};
        changes += {{"PathOrWord"}, fuse.count > 1 ? QString() : QStringLiteral("0x00000000")};
    }
    changes += {{"isMandatory"}, fuse.mayBeLeftOut ? QStringLiteral("0") : QStringLiteral("1")};
    return changes + protectionChanges(item, fuse.protection);
}

void SecretEditor::pickFuse(int entry) {
    if (row_ < 0) {
        return;
    }
    const SecretItem item = document_.items().at(row_);
    if (entry > 0) {
        change(changesFor(item, fuses_.words.at(entry - 1)), tr("Choose Purpose"));
        document_.endField();
    }
    showFuse(document_.items().at(row_));  // without a purpose, the item keeps its index
}

void SecretEditor::pickKind(int kind) {
    if (row_ < 0 || kind == static_cast<int>(secretKind(document_.items().at(row_)))) {
        return;
    }
    const bool isFile = kind != static_cast<int>(SecretKind::words);
    QList<SecretChange> changes = {{{"isFile"}, isFile ? QStringLiteral("1") : QStringLiteral("0")}};
    if (isFile) {
        changes +=
            {{"Format"}, kind == static_cast<int>(SecretKind::numbers) ? QStringLiteral("1") : QStringLiteral("2")};
    }
    if (isFile != document_.items().at(row_).isFile) {  // words aren't a path, and a path isn't words
        changes += {{"PathOrWord"}, isFile ? QString() : QStringLiteral("0x00000000")};
    }
    change(changes, tr("Change Kind of Data"));
    document_.endField();
}

void SecretEditor::showItem(qsizetype row, const SecretSize& size, const jobs::Verdict& place) {
    isShowing_ = true;
    if (row != row_) {
        document_.endField();
    }
    row_ = row;
    setEnabled(row >= 0);
    const SecretItem item = row >= 0 ? document_.items().at(row) : SecretItem();
    setLine(name_, item.Name);
    showFuse(item);
    index_->setValue(static_cast<int>(item.Offset));
    place_->setVerdict(place);
    index_->setAccessibleDescription(place.text);
    expected_->setValue(std::max(0, item.expectedSize) / int{otpWordSize});
    mandatory_->setChecked(item.isMandatory);
    const bool isWords = secretKind(item) == SecretKind::words;
    kind_->setCurrentIndex(static_cast<int>(secretKind(item)));
    content_->setEchoMode(isWords && !showsData() ? QLineEdit::Password : QLineEdit::Normal);
    content_->setFont(isWords && showsData() ? Theme::fixedFont() : font());
    content_->setPlaceholderText(row < 0 ? QString() : isWords ? QStringLiteral("0x00000000") : tr("No file"));
    setLine(content_, item.PathOrWord);
    browse_->setEnabled(row >= 0 && !isWords);
    dataVerdict_->setVerdict(size.data.kind == jobs::Verdict::Kind::good && row >= 0
                                 ? jobs::Verdict{jobs::Verdict::Kind::good, sizeText(size)}
                                 : size.data);
    content_->setAccessibleDescription(size.data.text);
    showPreview(item);
    showProtection(item);
    nonce_->setEnabled(row >= 0 && hasNonce(item));
    browseNonce_->setEnabled(nonce_->isEnabled());
    setLine(nonce_, item.Nonce);
    nonceVerdict_->setVerdict(size.nonce);
    isShowing_ = false;
}

void SecretEditor::showFuse(const SecretItem& item) {
    const qsizetype fuse = row_ < 0 ? -1 : devices::fuseAt(fuses_, item.Offset);
    const bool isItsFirst = fuse >= 0 && fuses_.words.at(fuse).index == item.Offset;
    fuse_->setCurrentIndex(isItsFirst ? static_cast<int>(fuse) + 1 : 0);
}

void SecretEditor::showProtection(const SecretItem& item) {
    word_->setText(row_ < 0 ? QString()
                            : QStringLiteral("0x%1").arg(protectionWord(item) & secretRecord::protectionMask, 8, 16,
                                                         QLatin1Char('0')));
    for (std::size_t i = 0; i < protection_.size(); ++i) {
        const ProtectionField& field = item.*protectionRows[i].field;
        QMap<std::uint16_t, QString> values = field.PossibleValues;
        if (values.isEmpty()) {
            for (const devices::DeviceField& described : std::as_const(fuses_.protection)) {
                if (described.name == QLatin1String(protectionRows[i].name)) {
                    for (const devices::NamedValue& named : described.values) {
                        values.insert(static_cast<std::uint16_t>(named.value), named.name);
                    }
                }
            }
        }
        if (!values.contains(field.BitValue)) {
            values.insert(field.BitValue, secretNumber(field.BitValue));
        }
        QComboBox* combo = protection_[i].values;
        combo->clear();
        for (auto value = values.constBegin(); value != values.constEnd(); ++value) {
            combo->addItem(shownLine(value.value()), value.key());
        }
        combo->setCurrentIndex(combo->findData(field.BitValue));
        combo->setEnabled(row_ >= 0 && field.BitWidth > 0);
    }
}

void SecretEditor::showPreview(const SecretItem& item) {
    if (row_ < 0 || !showsData()) {
        preview_->setForegroundRole(QPalette::PlaceholderText);
        preview_->setText(row_ < 0 ? QString() : tr("Hidden"));
        return;
    }
    preview_->setForegroundRole(QPalette::WindowText);
    // One byte more than shown, to detect that there is more.
    QByteArray bytes = secretPreview(item, document_.folder(), previewWords * otpWordSize + 1);
    const WipeOnExit wipeBytes(bytes);
    QString text;
    for (qsizetype at = 0; at < std::min<qsizetype>(bytes.size(), previewWords * otpWordSize); at += otpWordSize) {
        text += at == 0                                    ? QString()
                : at % (previewColumns * otpWordSize) == 0 ? QStringLiteral("\n")
                                                           : QStringLiteral(" ");
        text += QString::fromLatin1(bytes.mid(at, otpWordSize).toHex().toUpper());
    }
    if (bytes.size() > previewWords * otpWordSize) {
        text += QStringLiteral(" …");
    }
    preview_->setText(bytes.isEmpty() ? tr("No data") : text);
}

void SecretEditor::focusData() {
    content_->setFocus(Qt::OtherFocusReason);
}

bool SecretEditor::showsData() const {
    return showData_->isChecked();
}

void SecretEditor::hideData() {
    showData_->setChecked(false);
}

}  // namespace desktop
