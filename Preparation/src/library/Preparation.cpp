#include "preparation-interface/Preparation.h"
