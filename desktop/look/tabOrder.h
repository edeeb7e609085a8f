#pragma once

class QWidget;

/// Makes Tab go from the parts of `first` to those of `second`, each in the order that they have. For a `first` that
/// was made later than `second`: Qt puts it at the end of the window.
void setTabOrderOfParts(QWidget& first, QWidget& second);
