#pragma once

/// The release and the commit of this build, such as "2.20.0 (0123456789ab)". Every build writes the source that
/// defines it (cmake/writeBuildVersion.cmake). The command-line tool's banner has a version of its own.
extern const char buildVersion[];
