#pragma once

/// What a path is for. A file dialog begins in the last folder of its role; that of keys isn't remembered over runs.
enum class PathRole { firmware, key, output, document };
