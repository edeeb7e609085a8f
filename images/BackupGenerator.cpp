#include "images/BackupGenerator.h"
