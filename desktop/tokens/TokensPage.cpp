#include "desktop/tokens/TokensPage.h"

#include "desktop/look/ToneLabel.h"
#include "desktop/page/Dialogs.h"

#include <QClipboard>
#include <QFileInfo>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHeaderView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace desktop {

namespace {

constexpr int tokenRole = Qt::UserRole;    // of every row: the index of its token
constexpr int keyRole = Qt::UserRole + 1;  // of a key and its certificates: its index in the token

QString textOf(const QJsonObject& object, const char* name) {
    return object.value(QLatin1String(name)).toString();
}

QStringList textsOf(const QJsonObject& object, const char* name) {
    QStringList texts;
    for (const auto& value : object.value(QLatin1String(name)).toArray()) {
        texts.append(value.toString());
    }
    return texts;
}

/// The URI with one more attribute of its query.
QString withAttribute(const QString& uri, const QString& attribute) {
    return uri + (uri.contains(u'?') ? u'&' : u'?') + attribute;
}

QTreeWidgetItem* addRow(QTreeWidgetItem* parent, const QStringList& texts, int token, int key) {
    auto* row = new QTreeWidgetItem(parent, texts);
    row->setData(0, tokenRole, token);
    row->setData(0, keyRole, key);
    return row;
}

}  // namespace

TokensPage::TokensPage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      driver_(new QLineEdit),
      logIn_(addButton(tr("Log &in…"), "logIn", &TokensPage::logIn)),
      copy_(addButton(tr("&Copy"), "copyUri", &TokensPage::copyUri)),
      sign_(addButton(tr("&Sign…"), "sign", &TokensPage::sign)),
      state_(new ToneLabel(ThemeColor::quiet)),
      tree_(new QTreeWidget),
      uri_(new QLineEdit),
      version_(new QLineEdit) {
    setAcceptDrops(true);
    driver_->setObjectName(QStringLiteral("driver"));
    driver_->setPlaceholderText(tr("path of a PKCS #11 driver; empty: as for cards"));
    auto* label = new QLabel(tr("&Driver"));
    label->setBuddy(driver_);
    QPushButton* const list = addButton(tr("&List"), "list", &TokensPage::list);
    Theme::setFilled(*list);
    auto* bar = new QHBoxLayout;
    bar->setSpacing(Theme::labelGap());
    bar->addWidget(label);
    bar->addWidget(driver_, 1);
    bar->addWidget(list);
    bar->addWidget(logIn_);

    state_->setObjectName(QStringLiteral("tokensState"));
    state_->setWordWrap(true);
    state_->setText(tr("List the tokens to see their keys. Private keys show after a login."));
    tree_->setObjectName(QStringLiteral("tokens"));
    tree_->setAccessibleName(tr("Tokens and keys"));
    tree_->setHeaderLabels({tr("Token, key or certificate"), tr("Kind"), tr("Objects"), tr("Identifier")});
    tree_->header()->setSectionResizeMode(0, QHeaderView::Stretch);

    auto* form = new QFormLayout;
    form->setSpacing(Theme::rowGap());
    auto* place = new QHBoxLayout;
    uri_->setObjectName(QStringLiteral("uri"));
    uri_->setReadOnly(true);
    place->addWidget(uri_, 1);
    place->addWidget(copy_);
    auto* keyLabel = new QLabel(tr("&Key"));
    keyLabel->setBuddy(uri_);
    form->addRow(keyLabel, place);
    binary_ = addPath(*form, tr("&Binary"), "binary", &TokensPage::chooseBinary);
    version_->setObjectName(QStringLiteral("version"));
    version_->setText(QStringLiteral("1"));
    version_->setToolTip(tr("The version in an image. Binaries of the wireless chip have none."));
    form->addRow(tr("Ve&rsion"), version_);
    output_ = addPath(*form, tr("&Output"), "output", &TokensPage::chooseOutput);

    auto* layout = new QVBoxLayout(this);
    const int gap = Theme::groupGap();
    layout->setContentsMargins(gap, gap, gap, gap);
    layout->setSpacing(Theme::rowGap());
    layout->addLayout(bar);
    layout->addWidget(state_);
    layout->addWidget(tree_, 1);
    layout->addLayout(form);
    layout->addWidget(sign_, 0, Qt::AlignRight);

    connect(driver_, &QLineEdit::returnPressed, this, &TokensPage::list);
    connect(tree_, &QTreeWidget::currentItemChanged, this, &TokensPage::chosen);
    connect(&program_, &ProgramRun::ended, this, &TokensPage::take);
    chosen();
}

QPushButton* TokensPage::addButton(const QString& text, const char* name, void (TokensPage::*action)()) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    connect(button, &QPushButton::clicked, this, action);
    return button;
}

QLineEdit* TokensPage::addPath(QFormLayout& form, const QString& label, const char* name,
                               QString (TokensPage::*choose)()) {
    auto* edit = new QLineEdit;
    edit->setObjectName(QLatin1String(name));
    auto* button = new QPushButton(tr("Choose…"));
    button->setAccessibleName(tr("Choose %1").arg(QString(label).remove(u'&')));
    connect(button, &QPushButton::clicked, this, [this, edit, choose] {
        const QString path = (this->*choose)();
        if (!path.isEmpty()) {
            edit->setText(path);
        }
    });
    auto* place = new QHBoxLayout;
    place->addWidget(edit, 1);
    place->addWidget(button);
    auto* title = new QLabel(label);
    title->setBuddy(edit);
    form.addRow(title, place);
    return edit;
}

void TokensPage::run() {
    list();
}

bool TokensPage::acceptsFiles(const QStringList& paths) const {
    return paths.size() == 1;
}

void TokensPage::takeFiles(const QStringList& paths) {
    binary_->setText(paths.constFirst());
}

QString TokensPage::chooseBinary() {
    return context_.dialogs.openFile(this, tr("Binary"), jobs::PathRole::firmware, {});
}

QString TokensPage::chooseOutput() {
    return context_.dialogs.saveFile(this, tr("Signed file"), jobs::PathRole::output, {}, QStringLiteral("signed.bin"));
}

void TokensPage::list() {
    const QString path = driver_->text().trimmed();
    QStringList arguments{QStringLiteral("list"), QStringLiteral("--json")};
    if (!path.isEmpty()) {
        arguments.append(QStringLiteral("pkcs11:?module-path=") + QString::fromLatin1(QUrl::toPercentEncoding(path)));
    }
    start(Task::list, arguments);
}

void TokensPage::logIn() {
    const QJsonObject token = chosenToken();
    QByteArray pin;
    if (!token.isEmpty() && askPin(token, pin)) {
        const QString uri = withAttribute(textOf(token, "uri"), QStringLiteral("pin-source=-"));
        start(Task::logIn, {QStringLiteral("list"), QStringLiteral("--json"), uri}, pin);
        pin.fill('\0');
    }
}

void TokensPage::sign() {
    const QJsonObject key = chosenKey();
    const bool isImage = textOf(key, "kind") == QLatin1String("P-256");
    QByteArray pin;
    if (binary_->text().isEmpty() || output_->text().isEmpty()) {
        showState(ThemeColor::fault, tr("Choose the binary and the output."));
        return;
    }
    if (QFileInfo::exists(output_->text()) &&
        !context_.dialogs.confirm(this, tr("“%1” exists. Replace it?").arg(output_->text()), tr("Replace"))) {
        return;
    }
    if (!askPin(chosenToken(), pin)) {
        return;
    }
    const QString uri = pin.isEmpty() ? uri_->text() : withAttribute(uri_->text(), QStringLiteral("pin-source=-"));
    QStringList arguments{isImage ? QStringLiteral("image") : QStringLiteral("wireless"),
                          QStringLiteral("--key=") + uri, QStringLiteral("--output=") + output_->text()};
    if (isImage) {
        arguments.append(QStringLiteral("--image-version=") + version_->text());
    }
    start(Task::sign, arguments + QStringList{QStringLiteral("--"), binary_->text()}, pin);
    pin.fill('\0');
}

void TokensPage::copyUri() {
    QGuiApplication::clipboard()->setText(uri_->text());
}

/// Asks for the PIN, unless the token needs none or has a keypad. `pin` receives the PIN and a line feed, as qvora-sign
/// reads it. False if the user cancelled.
bool TokensPage::askPin(const QJsonObject& token, QByteArray& pin) {
    if (!token.value(QLatin1String("needsLogin")).toBool() || token.value(QLatin1String("hasKeypad")).toBool()) {
        return true;
    }
    const QString typed = context_.dialogs.askPin(this, tr("PIN of the token “%1”:").arg(textOf(token, "label")));
    pin = typed.toUtf8() + '\n';
    return !typed.isEmpty();
}

void TokensPage::start(Task task, const QStringList& arguments, const QByteArray& input) {
    const QString path = programPath(context_.toolPath, QStringLiteral("qvora-sign"));
    if (path.isEmpty()) {
        showState(ThemeColor::fault,
                  tr("qvora-sign isn't installed; its package is qvora-sealed-bundle-builder-production."));
        return;
    }
    task_ = task;
    showState(ThemeColor::quiet, tr("Waiting for the token…"));
    program_.start(path, arguments, input);
}

void TokensPage::take(const ProgramRun::Result& result) {
    const QJsonArray tokens = QJsonDocument::fromJson(result.output).object().value(QLatin1String("tokens")).toArray();
    if (result.status != 0) {
        showState(ThemeColor::fault,
                  result.faults.isEmpty() ? tr("qvora-sign ended with %1.").arg(result.status) : result.faults);
    } else if (task_ == Task::sign) {
        showState(ThemeColor::success, QString::fromUtf8(result.output).trimmed());
    } else {
        const QString count = tokens.size() == 1 ? tr("1 token") : tr("%1 tokens").arg(tokens.size());
        showState(ThemeColor::quiet, task_ == Task::list ? count : tr("Logged in, logged out again."));
    }
    if (task_ == Task::list) {
        showTokens(tokens);
    } else if (task_ == Task::logIn && result.status == 0) {
        // The answer has only the token of the login.
        QJsonArray all = tokens_;
        for (qsizetype i = 0; i < all.size(); ++i) {
            if (!tokens.isEmpty() && all.at(i).toObject().value(QLatin1String("uri")) ==
                                         tokens.at(0).toObject().value(QLatin1String("uri"))) {
                all[i] = tokens.at(0);
            }
        }
        showTokens(all);
    }
}

void TokensPage::showTokens(const QJsonArray& tokens) {
    tokens_ = tokens;
    tree_->clear();
    for (int i = 0; i < tokens.size(); ++i) {
        const QJsonObject token = tokens.at(i).toObject();
        const bool isLocked = token.value(QLatin1String("isPinLocked")).toBool();
        QTreeWidgetItem* const top = addRow(
            nullptr, {textOf(token, "label"), tr("token"), isLocked ? tr("the PIN is locked") : QString(), QString()},
            i, -1);
        tree_->addTopLevelItem(top);
        const QJsonArray keys = token.value(QLatin1String("keys")).toArray();
        for (int k = 0; k < keys.size(); ++k) {
            const QJsonObject key = keys.at(k).toObject();
            QTreeWidgetItem* const row = addRow(top,
                                                {textOf(key, "label"), textOf(key, "kind"),
                                                 textsOf(key, "objects").join(QStringLiteral(", ")), textOf(key, "id")},
                                                i, k);
            for (const auto& value : key.value(QLatin1String("certificates")).toArray()) {
                addRow(row, {textOf(value.toObject(), "subject"), tr("certificate"), QString(), QString()}, i, k);
            }
            row->setExpanded(true);
        }
        top->setExpanded(true);
    }
    if (tree_->topLevelItemCount() > 0) {
        tree_->setCurrentItem(tree_->topLevelItem(0));
    }
    chosen();
}

QJsonObject TokensPage::chosenToken() const {
    const QTreeWidgetItem* const row = tree_->currentItem();
    return row == nullptr ? QJsonObject() : tokens_.at(row->data(0, tokenRole).toInt()).toObject();
}

QJsonObject TokensPage::chosenKey() const {
    const QTreeWidgetItem* const row = tree_->currentItem();
    const int index = row == nullptr ? -1 : row->data(0, keyRole).toInt();
    return index < 0 ? QJsonObject() : chosenToken().value(QLatin1String("keys")).toArray().at(index).toObject();
}

void TokensPage::chosen() {
    const QJsonObject token = chosenToken();
    const QJsonObject key = chosenKey();
    const QString kind = textOf(key, "kind");
    uri_->setText(textOf(key.isEmpty() ? token : key, "uri"));
    logIn_->setEnabled(token.value(QLatin1String("needsLogin")).toBool());
    copy_->setEnabled(!uri_->text().isEmpty());
    sign_->setEnabled(kind == QLatin1String("P-256") || kind == QLatin1String("RSA 2048"));
    version_->setEnabled(kind != QLatin1String("RSA 2048"));
}

void TokensPage::showState(ThemeColor tone, const QString& text) {
    state_->setTone(tone);
    state_->setText(text);
}

}  // namespace desktop
