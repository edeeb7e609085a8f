#pragma once

#include "obkey/ObkeyParam.h"

#include <QByteArray>

/// Checks the length of a `Text` parameter's text, in bytes of UTF-8, against its limits.
[[nodiscard]] bool checkTextLength(const ObkeyParam& param, const QByteArray& text);
