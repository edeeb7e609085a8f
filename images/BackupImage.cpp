#include "images/BackupImage.h"
