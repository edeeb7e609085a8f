#include "formats/formatTable.h"
