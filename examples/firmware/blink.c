/* A blinking light for a Cortex-M4: vector table, start-up and main in one file, so that the example builds with
   nothing but the compiler. `build` beside it makes blink.elf and blink.hex. */
#include <stdint.h>

#define GPIOA_MODER (*(volatile uint32_t*)0x40020000u)
#define GPIOA_ODR (*(volatile uint32_t*)0x40020014u)
#define RCC_AHB1ENR (*(volatile uint32_t*)0x40023830u)

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
    RCC_AHB1ENR |= 1u;
    GPIOA_MODER = (GPIOA_MODER & ~(3u << 10)) | (1u << 10);
    for (;;) {
        GPIOA_ODR ^= 1u << 5;
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
