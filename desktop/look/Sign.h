#pragma once

#include <QColor>
#include <QIcon>

class QPainter;
class QRectF;

/// What a state looks like besides its words: each has a shape of its own, so that colour isn't needed to tell them.
enum class Sign {
    none,
    good,     ///< a disc with a tick
    bad,      ///< an octagon with a cross
    unknown,  ///< a ring with a question mark
    note,     ///< a ring with an i
    busy,     ///< a ring with three dots
};

/// Of the sign, and of words that say the same.
[[nodiscard]] QColor signColor(Sign sign);

void paintSign(QPainter& painter, const QRectF& rect, Sign sign);

/// Paints itself in the colours of the moment, in any size.
[[nodiscard]] QIcon signIcon(Sign sign);
