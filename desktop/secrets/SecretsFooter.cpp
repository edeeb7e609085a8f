#include "desktop/secrets/SecretsFooter.h"

#include "desktop/look/theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>

namespace desktop {

SecretsFooter::SecretsFooter(QWidget* parent)
    : QWidget(parent),
      collisions_(makeLine("collisions")),
      misplaced_(makeLine("misplaced")),
      unusable_(makeLine("unusable")),
      missing_(makeLine("missing")),
      allGood_(makeLine("allGood")),
      result_(makeLine("result")),
      inspect_(new QPushButton(tr("Inspect"))),
      make_(new QPushButton(tr("&Make Image…"))) {
    inspect_->setObjectName(QStringLiteral("inspect"));
    make_->setObjectName(QStringLiteral("makeImage"));
    inspect_->setToolTip(tr("Opens the image on the page that shows its contents."));
    inspect_->hide();
    Theme::setFilled(*make_);

    auto* lines = new QVBoxLayout;
    lines->setSpacing(Theme::rowGap());
    lines->addStretch(1);
    for (const Line& line : {collisions_, misplaced_, unusable_, missing_, allGood_, result_}) {
        lines->addWidget(line.row);
        line.row->hide();
    }
    lines->addStretch(1);
    allGood_.mark->show(StatusMark::Kind::good);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::groupGap(), Theme::labelGap(), Theme::groupGap(), Theme::labelGap());
    layout->addLayout(lines, 1);
    layout->addWidget(inspect_, 0, Qt::AlignBottom);
    layout->addWidget(make_, 0, Qt::AlignBottom);
    connect(inspect_, &QPushButton::clicked, this, &SecretsFooter::inspectRequested);
    connect(make_, &QPushButton::clicked, this, &SecretsFooter::makeRequested);
}

SecretsFooter::Line SecretsFooter::makeLine(const char* name) {
    Line line = {new QWidget, new StatusMark, new QLabel};
    line.text->setObjectName(QLatin1String(name));
    line.text->setTextFormat(Qt::PlainText);
    line.text->setWordWrap(true);
    auto* layout = new QHBoxLayout(line.row);
    layout->setContentsMargins({});
    layout->addWidget(line.mark, 0, Qt::AlignTop);
    layout->addSpacing(Theme::rowGap() / 2);
    layout->addWidget(line.text, 1);
    return line;
}

void SecretsFooter::showLine(const Line& line, StatusMark::Kind kind, const QString& text) {
    line.mark->show(kind);
    line.text->setText(text);
    line.row->setVisible(!text.isEmpty());
}

void SecretsFooter::showRemarks(const Remarks& remarks, bool hasItems) {
    showLine(collisions_, StatusMark::Kind::bad, remarks.collisions);
    showLine(misplaced_, StatusMark::Kind::bad, remarks.misplaced);
    showLine(unusable_, StatusMark::Kind::bad, remarks.unusable);
    showLine(missing_, StatusMark::Kind::open, remarks.missing);
    const bool isGood = hasItems && remarks.collisions.isEmpty() && remarks.misplaced.isEmpty() &&
                        remarks.unusable.isEmpty() && remarks.missing.isEmpty();
    allGood_.text->setText(isGood ? tr("Nothing collides, and nothing is missing.") : QString());
    allGood_.row->setVisible(isGood && result_.text->text().isEmpty());
}

void SecretsFooter::showResult(StatusMark::Kind kind, const QString& text) {
    showLine(result_, kind, text);
    allGood_.row->setVisible(!allGood_.text->text().isEmpty() && text.isEmpty());
}

void SecretsFooter::offerInspect(bool isOffered) {
    inspect_->setVisible(isOffered);
}

void SecretsFooter::setBusy(bool isBusy) {
    make_->setEnabled(!isBusy);
}

void SecretsFooter::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::color(ThemeColor::panel));
    painter.fillRect(QRect(0, 0, width(), 1), Theme::color(ThemeColor::line));
}

}  // namespace desktop
