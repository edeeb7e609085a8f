/* A blinking light for a Cortex-M4: vector table, start-up and main in one file, so that the example builds with
   nothing but the compiler. The script `build` makes blink.elf and blink.hex. */
#include <stdint.h>

/* Registers of a lamp that doesn't exist: the example is there to be packaged, not to run. */
#define LAMP_POWER (*(volatile uint32_t*)0x60000000u)
#define LAMP_LIGHT (*(volatile uint32_t*)0x60000100u)

extern uint32_t stackTop, dataLoad, dataStart, dataEnd, bssStart, bssEnd;

static volatile uint32_t period = 200000;                             /* .data: loads in Flash, runs in RAM */
static volatile uint32_t blinks;                                      /* .bss: takes no room in the image */
static const char banner[] = "blink 1.0: the example firmware of QVORA Sealed Bundle Builder";

static void wait(uint32_t cycles) {
    while (cycles-- > 0) {
        __asm__ volatile("nop");
    }
}

int main(void) {
    LAMP_POWER = 1u;
    for (;;) {
        LAMP_LIGHT ^= 1u;
        blinks += (uint32_t)banner[blinks % sizeof banner] != 0u;
        wait(period);
    }
}

void resetHandler(void) {
    uint32_t* from = &dataLoad;
    for (uint32_t* to = &dataStart; to < &dataEnd; ++to, ++from) {
        *to = *from;
    }
    for (uint32_t* to = &bssStart; to < &bssEnd; ++to) {
        *to = 0;
    }
    main();
}

static void stop(void) {
    for (;;) {
    }
}

__attribute__((section(".vectors"), used)) static void (*const vectors[16])(void) = {
    (void (*)(void))&stackTop, resetHandler, stop, stop, stop, stop, stop, 0, 0, 0, 0, stop, stop, 0, stop, stop,
};
