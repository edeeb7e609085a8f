#include "desktop/inspector/BytePanel.h"

#include "desktop/inspector/ByteView.h"
#include "desktop/look/ElidedLabel.h"
#include "desktop/look/plainTip.h"
#include "desktop/look/theme.h"
#include "jobs/counted.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>

namespace desktop {

BytePanel::BytePanel(QWidget* parent)
    : QWidget(parent),
      view_(new ByteView),
      status_(new ElidedLabel),
      plain_(new QCheckBox(tr("&Plain contents"))),
      goTo_(new QLineEdit) {
    view_->setObjectName(QStringLiteral("bytes"));
    status_->setObjectName(QStringLiteral("byteStatus"));
    status_->setTone(ThemeColor::quiet);
    plain_->setObjectName(QStringLiteral("plain"));
    goTo_->setObjectName(QStringLiteral("goTo"));
    goTo_->setFont(Theme::fixedFont());
    goTo_->setPlaceholderText(QStringLiteral("0x1C, 28"));
    goTo_->setToolTip(tr("An offset in the file, in decimal or, after 0x, in hexadecimal. Enter goes there."));
    goTo_->setFixedWidth(QFontMetrics(goTo_->font()).averageCharWidth() * 13);
    auto* label = new QLabel(tr("&Go to"));
    label->setBuddy(goTo_);

    auto* foot = new QHBoxLayout;
    foot->setSpacing(Theme::labelGap());
    foot->addWidget(status_, 1);
    foot->addWidget(plain_);
    foot->addWidget(label);
    foot->addWidget(goTo_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, Theme::rowGap(), 0, 0);
    layout->addWidget(view_, 1);
    layout->addLayout(foot);
    setTabOrder(view_, plain_);
    setTabOrder(plain_, goTo_);
    connect(view_, &ByteView::byteChosen, this, &BytePanel::byteChosen);
    connect(view_, &ByteView::stretchChosen, this, [this] {
        describe(jobs::counted(view_->chosenSize(), tr("1 byte from byte %2 on"), tr("%1 bytes from byte %2 on"))
                     .arg(view_->chosenOffset()));
    });
    connect(plain_, &QCheckBox::toggled, this, &BytePanel::plainWanted);
    connect(goTo_, &QLineEdit::returnPressed, this, &BytePanel::goToOffset);
}

void BytePanel::setBytes(QByteArrayView bytes, const std::shared_ptr<const void>& owner, quint64 base) {
    if (view_->bytes().data() != bytes.data() || view_->bytes().size() != bytes.size()) {
        view_->setBytes(bytes, owner, base);
    }
}

void BytePanel::setDescriber(std::function<QString(qint64 offset)> describer) {
    view_->setDescriber(std::move(describer));
}

void BytePanel::choose(qint64 offset, qint64 size) {
    view_->choose(offset, size);
}

void BytePanel::mark(qint64 offset, qint64 size) {
    view_->mark(offset, size);
}

void BytePanel::describe(const QString& what) {
    const QString values = readings();
    status_->setText(values.isEmpty() ? what : tr("%1 · %2").arg(what, values));
    setPlainTip(*status_, status_->text());
    view_->setAccessibleDescription(status_->text());
}

// The number that 1, 2, 4 or 8 selected bytes form, in both byte orders; empty for any other count.
QString BytePanel::readings() const {
    const qint64 size = view_->chosenSize();
    if (size != 1 && size != 2 && size != 4 && size != 8) {
        return {};
    }
    quint64 little = 0;
    quint64 big = 0;
    for (qint64 i = 0; i < size; ++i) {
        const auto byte =
            static_cast<quint64>(static_cast<unsigned char>(view_->bytes().at(view_->chosenOffset() + i)));
        little |= byte << (8 * i);
        big = (big << 8) | byte;
    }
    return size == 1 ? tr("value %1").arg(little) : tr("low byte first %1, high byte first %2").arg(little).arg(big);
}

void BytePanel::goToOffset() {
    const QString text = goTo_->text().trimmed();
    const bool isHex = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    bool isNumber = false;
    const qlonglong offset = isHex ? text.mid(2).toLongLong(&isNumber, 16) : text.toLongLong(&isNumber, 10);
    if (!isNumber || offset < 0 || offset >= view_->bytes().size()) {
        status_->setText(
            tr("There is no byte %1; the last one is %2.").arg(text, QString::number(view_->bytes().size() - 1)));
        return;
    }
    view_->choose(offset, 1);
    emit byteChosen(offset);
    view_->setFocus(Qt::OtherFocusReason);
}

void BytePanel::setPlainPossible(bool possible, const QString& tip) {
    plain_->setEnabled(possible);
    if (!possible) {
        clearPlain();
    }
    plain_->setToolTip(tip);
}

bool BytePanel::wantsPlain() const {
    return plain_->isChecked();
}

void BytePanel::clearPlain() {
    const QSignalBlocker quiet(plain_);
    plain_->setChecked(false);
}

}  // namespace desktop
