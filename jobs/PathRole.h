#pragma once

namespace jobs {

/// The purpose of a path. A file dialog begins in the last folder of its role. The folder of keys isn't stored between
/// runs of the program.
enum class PathRole { firmware, key, output, document };

}  // namespace jobs
