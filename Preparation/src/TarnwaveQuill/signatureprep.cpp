#include "display/Display.h"
