#pragma once

#include <QColor>
#include <QIcon>

class QPainter;
class QRectF;

namespace desktop {

/// The sign of a state. Each has its own shape, so that it is recognisable without colour.
enum class Sign {
    none,
    good,     ///< a disc with a tick
    bad,      ///< an octagon with a cross
    unknown,  ///< a ring with a question mark
    warning,  ///< a ring with an exclamation mark
    missing,  ///< a dot
    note,     ///< a ring with an i
    busy,     ///< a ring with three dots
};

/// The colour of the sign, and of a text with the same meaning.
[[nodiscard]] QColor signColor(Sign sign);

/// A tick within `square`, with the painter's pen.
void paintTick(QPainter& painter, const QRectF& square);
void paintSign(QPainter& painter, const QRectF& rect, Sign sign);

/// An icon that paints itself at any size, in the colours of the current theme.
[[nodiscard]] QIcon signIcon(Sign sign);

}  // namespace desktop
