#include "display/Display.h"
int main() {
    return 0;
}
