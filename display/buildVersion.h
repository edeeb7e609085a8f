#pragma once

/// The release and the commit of this build, such as "2.20.0 (0123456789ab)". Every build writes the source file that
/// defines this text (cmake/writeBuildVersion.cmake). The banner of the command-line tool shows another version.
extern const char buildVersion[];
