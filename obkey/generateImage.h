#pragma once

#include "obkey/Imgtool.h"
#include "obkey/McubootTemplate.h"

/// Runs imgtool as `config` says and, after a success, writes the values used into the template. They stand in
/// `config`, too. The result is the status to end the process with; what isn't 0 was told, but for a template that
/// can't be opened for the write-back.
[[nodiscard]] int generateImage(Imgtool& imgtool, McubootConfig& config);
