#pragma once

class QWidget;

namespace desktop {

/// Puts the parts of `second` after those of `first` in the order of Tab; both keep their own order. Call it if
/// `first` was made after `second`, because Qt puts new widgets at the end of the window's order.
void setTabOrderOfParts(QWidget& first, QWidget& second);

}  // namespace desktop
