/* plain ARGUMENT...: uses the header in C. The pointers have the types of the first release: a change of a
   function's type doesn't compile. */

#include <stdio.h>

#include "qvora_inspect.h"

static qvora_inspect_result *(*const run)(const char *const *, size_t, int) = qvora_inspect_run;
static int (*const status)(const qvora_inspect_result *) = qvora_inspect_status;
static const char *(*const report)(const qvora_inspect_result *, size_t *) = qvora_inspect_report;
static size_t (*const content_count)(const qvora_inspect_result *) = qvora_inspect_content_count;
static const void *(*const content)(const qvora_inspect_result *, size_t, size_t *, int *,
                                    uint64_t *) = qvora_inspect_content;
static void (*const release)(qvora_inspect_result *) = qvora_inspect_free;
static const char *(*const version)(void) = qvora_inspect_version;

int main(int argc, char **argv) {
    qvora_inspect_result *const result = run((const char *const *)argv + 1, (size_t)(argc - 1), 1);
    size_t bytes = 0;
    size_t i;
    const int answer = status(result);
    if (version()[0] == '\0') {
        return 3;
    }
    for (i = 0; i < content_count(result); ++i) {
        size_t size = 0;
        if (content(result, i, &size, NULL, NULL) == NULL) {
            return 3;
        }
        bytes += size;
    }
    printf("%s%lu bytes\n", report(result, NULL), (unsigned long)bytes);
    release(result);
    return answer;
}
