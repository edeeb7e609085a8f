#include "desktop/keys/KeysPage.h"

#include "Preparation/src/ec_crypto.h"
#include "desktop/form/FormView.h"
#include "desktop/look/ToneLabel.h"
#include "desktop/page/Dialogs.h"
#include "jobs/counted.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <array>

namespace desktop {

namespace {

constexpr qsizetype mostRandomBytes = 65536;

/// A task that the user can choose. For a random file, the user enters the size if `size` is 0.
struct TaskRow {
    const char* id;
    const char* label;
    KeyTask task;
    qsizetype size;
};

constexpr std::array taskRows = {
    TaskRow{"key", QT_TRANSLATE_NOOP("KeysPage", "Key: 16 random bytes"), KeyTask::randomFile, 16},
    TaskRow{"nonce12", QT_TRANSLATE_NOOP("KeysPage", "Nonce: 12 random bytes"), KeyTask::randomFile, 12},
    TaskRow{"nonce16", QT_TRANSLATE_NOOP("KeysPage", "Nonce: 16 random bytes"), KeyTask::randomFile, 16},
    TaskRow{"random", QT_TRANSLATE_NOOP("KeysPage", "Random bytes of any number"), KeyTask::randomFile, 0},
    TaskRow{"curve", QT_TRANSLATE_NOOP("KeysPage", "Elliptic-curve key pair, 256 bits"), KeyTask::curvePair, 0},
    TaskRow{"rsa", QT_TRANSLATE_NOOP("KeysPage", "RSA key pair, 4096 bits"), KeyTask::rsaPair, 0},
    TaskRow{"hash", QT_TRANSLATE_NOOP("KeysPage", "Hash of an existing public key"), KeyTask::publicKeyHash, 0},
};

const TaskRow& rowOf(const QString& id) {
    for (const TaskRow& row : taskRows) {
        if (id == QLatin1String(row.id)) {
            return row;
        }
    }
    return taskRows.front();
}

constexpr QLatin1String taskField("task");
constexpr QLatin1String sizeField("size");
constexpr QLatin1String curveField("curve");
constexpr QLatin1String fileField("file");
constexpr QLatin1String privateField("private");
constexpr QLatin1String publicField("public");
constexpr QLatin1String pemField("pem");

jobs::Verdict checkSize(const QStringList& values) {
    bool isNumber = false;
    const int size = values.value(0).toInt(&isNumber);
    if (isNumber && size >= 1 && size <= mostRandomBytes) {
        return {};
    }
    return {jobs::Verdict::Kind::fault, KeysPage::tr("The number of bytes is 1 to %1.").arg(mostRandomBytes)};
}

QList<FormField> fields() {
    FormField task;
    task.id = taskField;
    task.label = KeysPage::tr("&What to make");
    task.kind = jobs::FieldKind::choice;
    for (const TaskRow& row : taskRows) {
        task.choices.append({QLatin1String(row.id), QCoreApplication::translate("KeysPage", row.label)});
    }
    task.initial = {task.choices.first().value};

    FormField size;
    size.id = sizeField;
    size.label = KeysPage::tr("&Bytes");
    size.kind = jobs::FieldKind::fixed;
    size.required = true;
    size.placeholder = QStringLiteral("32");
    size.check = checkSize;

    FormField curve;
    curve.id = curveField;
    curve.label = KeysPage::tr("&Curve");
    curve.kind = jobs::FieldKind::choice;
    curve.choices = {{QString::number(prime256v1Nid), KeysPage::tr("P-256 (prime256v1)")},
                     {QString::number(brainpoolP256t1Nid), KeysPage::tr("brainpoolP256t1")}};
    curve.initial = {curve.choices.first().value};

    const auto path = [](QLatin1String id, const QString& label, jobs::FieldKind kind, const QString& tip) {
        FormField field;
        field.id = id;
        field.label = label;
        field.tip = tip;
        field.kind = kind;
        field.required = true;
        field.role = jobs::PathRole::key;
        return field;
    };
    return {task,
            size,
            curve,
            path(fileField, KeysPage::tr("F&ile"), jobs::FieldKind::outFile,
                 KeysPage::tr("The file that gets the bytes. Only you may read it.")),
            path(privateField, KeysPage::tr("&Private key"), jobs::FieldKind::outFile,
                 KeysPage::tr("A PEM file without a passphrase. Only you may read it.")),
            path(publicField, KeysPage::tr("P&ublic key"), jobs::FieldKind::outFile,
                 KeysPage::tr("A PEM file that everybody may read.")),
            path(pemField, KeysPage::tr("&Key"), jobs::FieldKind::inFile,
                 KeysPage::tr("A PEM file of a public key, or of a private one without a passphrase."))};
}

}  // namespace

struct KeysPage::Work {
    KeyRequest request;
    KeyAnswer answer;
    std::atomic<bool> isGivenUp = false;
};

KeysPage::KeysPage(PageContext& context, QWidget* parent)
    : Page(context, parent),
      view_(new FormView(fields(), context)),
      make_(new QPushButton(tr("&Make"))),
      missing_(new ToneLabel(ThemeColor::quiet)),
      result_(new ToneLabel(ThemeColor::success)),
      pointHash_(makeHashRow(tr("SHA-256 of the point"), QStringLiteral("pointHash"), tr("C&opy"))),
      keyHash_(makeHashRow(tr("SHA-256 of the key as DER"), QStringLiteral("keyHash"), tr("Cop&y"))) {
    pool_.setMaxThreadCount(1);
    make_->setObjectName(QStringLiteral("make"));
    result_->setObjectName(QStringLiteral("result"));
    result_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    Theme::setFilled(*make_);

    auto* bar = new QHBoxLayout;
    bar->setSpacing(Theme::labelGap());
    bar->addWidget(make_);
    bar->addWidget(missing_, 1);

    auto* layout = new QVBoxLayout(this);
    const int gap = Theme::groupGap();
    layout->setContentsMargins(gap, gap, gap, gap);
    layout->setSpacing(Theme::labelGap());
    layout->addWidget(view_);
    layout->addLayout(bar);
    layout->addSpacing(Theme::rowGap());
    layout->addWidget(result_);
    layout->addWidget(pointHash_.row);
    layout->addWidget(keyHash_.row);
    layout->addStretch(1);

    connect(make_, &QPushButton::clicked, this, [this] { isBusy() ? stop() : run(); });
    connect(view_, &FormView::edited, this, [this](const QString& id) {
        if (id == taskField) {
            showFields();
        }
        refresh();
    });
    connect(view_, &FormView::left, this, [this](const QString& id) {
        if (id == privateField) {
            proposePublic();
        }
    });
    showFields();
    refresh();
}

KeysPage::~KeysPage() {
    if (work_ != nullptr) {
        work_->isGivenUp = true;
    }
    pool_.waitForDone();
}

KeysPage::HashRow KeysPage::makeHashRow(const QString& label, const QString& name, const QString& copy) {
    HashRow made{new QWidget, new QLineEdit};
    made.line->setObjectName(name);
    made.line->setAccessibleName(label);
    made.line->setReadOnly(true);
    made.line->setFont(Theme::fixedFont());
    made.line->setMinimumWidth(made.line->fontMetrics().horizontalAdvance(QLatin1Char('0')) * 66 + Theme::labelGap());
    auto* button = new QPushButton(copy);
    button->setAccessibleName(tr("Copy %1").arg(label));
    connect(button, &QPushButton::clicked, made.line,
            [line = made.line] { QGuiApplication::clipboard()->setText(line->text()); });
    auto* title = new ToneLabel(ThemeColor::quiet);
    title->setText(label);
    auto* layout = new QGridLayout(made.row);
    layout->setContentsMargins({});
    layout->setVerticalSpacing(Theme::rowGap() / 2);
    layout->addWidget(title, 0, 0, 1, 2);
    layout->addWidget(made.line, 1, 0);
    layout->addWidget(button, 1, 1);
    layout->setColumnStretch(2, 1);
    return made;
}

bool KeysPage::isBusy() const {
    return work_ != nullptr;
}

void KeysPage::showFields() {
    const TaskRow& row = rowOf(view_->values(taskField).value(0));
    const bool isPair = row.task == KeyTask::curvePair || row.task == KeyTask::rsaPair;
    view_->setShown(sizeField, row.task == KeyTask::randomFile && row.size == 0);
    view_->setShown(curveField, row.task == KeyTask::curvePair);
    view_->setShown(fileField, row.task == KeyTask::randomFile);
    view_->setShown(privateField, isPair);
    view_->setShown(publicField, isPair);
    view_->setShown(pemField, row.task == KeyTask::publicKeyHash);
    fitForm();
    result_->clear();
    pointHash_.row->hide();
    keyHash_.row->hide();
}

void KeysPage::fitForm() {
    // Makes the form as high as its fields, so that the button is right below them. A form scrolls and has no minimum
    // height of its own.
    const QWidget* body = view_->findChild<QScrollArea*>()->widget();
    for (QWidget* part : body->findChildren<QWidget*>()) {
        if (part->layout() != nullptr) {
            part->layout()->activate();
        }
    }
    body->layout()->activate();
    view_->setFixedHeight(body->sizeHint().height());
}

void KeysPage::proposePublic() {
    const QString path = view_->values(privateField).value(0);
    if (path.isEmpty() || !view_->values(publicField).value(0).isEmpty()) {
        return;
    }
    // The tool gives the same name to the public key of a new pair.
    const QFileInfo info(path);
    view_->setValues(publicField, {QDir(info.path()).filePath(info.completeBaseName() + QStringLiteral("_pub.pem"))});
    refresh();
}

void KeysPage::refresh() {
    const bool isHash = rowOf(view_->values(taskField).value(0)).task == KeyTask::publicKeyHash;
    make_->setText(isBusy() ? tr("&Stop") : isHash ? tr("Co&mpute") : tr("&Make"));
    const QStringList points = view_->openPoints();
    missing_->setText(isBusy()           ? tr("Working…")
                      : points.isEmpty() ? QString()
                                         : jobs::counted(points.size(), tr("1 thing is missing or wrong: %2"),
                                                         tr("%1 things are missing or wrong: %2"))
                                               .arg(points.join(QLatin1String(", "))));
    emit stateChanged();
}

KeyRequest KeysPage::request() const {
    const TaskRow& row = rowOf(view_->values(taskField).value(0));
    const auto path = [this](const QString& id) { return QFileInfo(view_->values(id).value(0)).absoluteFilePath(); };
    KeyRequest made;
    made.task = row.task;
    switch (row.task) {
        case KeyTask::randomFile:
            made.size = row.size != 0 ? row.size : view_->values(sizeField).value(0).toInt();
            made.path = path(fileField);
            break;
        case KeyTask::curvePair:
        case KeyTask::rsaPair:
            made.curve = view_->values(curveField).value(0).toInt();
            made.path = path(privateField);
            made.publicPath = path(publicField);
            break;
        case KeyTask::publicKeyHash:
            made.path = path(pemField);
            break;
    }
    return made;
}

void KeysPage::run() {
    if (isBusy()) {
        return;
    }
    if (!view_->openPoints().isEmpty()) {
        view_->focusFirstOpenPoint();
        return;
    }
    KeyRequest wanted = request();
    wanted.replaced = existingOutputs(wanted);
    for (const QString& path : std::as_const(wanted.replaced)) {
        if (!context_.dialogs.confirm(
                this, tr("“%1” exists already. Its content would be lost for good. Replace it?").arg(path),
                tr("Replace"))) {
            return;
        }
    }
    result_->clear();
    pointHash_.row->hide();
    keyHash_.row->hide();
    work_ = std::make_shared<Work>();
    work_->request = wanted;
    pool_.start([this, work = work_] {
        work->answer = runKeyTask(work->request, work->isGivenUp);
        QMetaObject::invokeMethod(this, &KeysPage::finish, Qt::QueuedConnection);
    });
    refresh();
}

void KeysPage::stop() {
    if (work_ != nullptr) {
        work_->isGivenUp = true;
    }
}

void KeysPage::finish() {
    const KeyAnswer answer = work_->answer;
    work_.reset();
    const auto show = [](const HashRow& row, const QString& hash) {
        row.line->setText(hash);
        row.line->setCursorPosition(0);
        row.row->setVisible(!hash.isEmpty());
    };
    show(pointHash_, answer.pointHash);
    show(keyHash_, answer.keyHash);
    result_->setTone(answer.fault.isEmpty() ? ThemeColor::success : ThemeColor::fault);
    QStringList names;
    for (const QString& path : answer.files) {
        names.append(QFileInfo(path).fileName());
    }
    result_->setText(!answer.fault.isEmpty() ? answer.fault
                     : names.isEmpty()
                         ? tr("These are the hashes of this public key.")
                         : tr("Made %1 in %2").arg(names.join(tr(" and ")), QFileInfo(answer.files.first()).path()));
    refresh();
}

}  // namespace desktop
