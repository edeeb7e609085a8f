#include "files/openFile.h"
