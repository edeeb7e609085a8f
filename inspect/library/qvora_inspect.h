#pragma once

/*
 * The opener qvora-inspect as a library, for programs in C and for other languages. Calls share no state: several
 * threads may make calls at the same time, and one thread after the other may use a result.
 *
 * The functions take no ownership of their arguments. What they return belongs to the result, and stays valid until
 * qvora_inspect_free. Nothing is printed. If memory runs out, the process ends.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The result of one call. */
typedef struct qvora_inspect_result qvora_inspect_result;

/*
 * Makes one call of qvora-inspect. `arguments` are the `count` words of its command line after the program's name, each
 * in UTF-8 with a zero byte at its end, such as "verify", "--key", "key.bin", "image.tbi". Every command and option of
 * the program works as docs/inspect.md says; --json has no effect, because the report is always JSON. A path may be
 * /proc/self/fd/N: then images and keys can be in memory files (memfd_create) and never reach a disk.
 *
 * If `keeps_contents` isn't 0, a call of verify keeps the plain contents of the last file if it proves it.
 *
 * Returns a result, also for a faulty command line, whose fault is in the report. Returns NULL only if `arguments` is
 * NULL although `count` isn't 0.
 */
qvora_inspect_result* qvora_inspect_run(const char* const* arguments, size_t count, int keeps_contents);

/* The status: 0 proven, shown or no difference; 1 wrong, or a difference; 2 undecided, or a fault of the call. */
int qvora_inspect_status(const qvora_inspect_result* result);

/*
 * The report: one JSON document in ASCII with a zero byte at its end, by docs/inspect.schema.json. `size`, which may be
 * NULL, receives the number of bytes before the zero byte.
 */
const char* qvora_inspect_report(const qvora_inspect_result* result, size_t* size);

/* The number of contents that were kept. */
size_t qvora_inspect_content_count(const qvora_inspect_result* result);

/*
 * The plain bytes of the content `index`, counted from 0. `size` receives their number; `part` the number of the part
 * in the report, or 0 if the file has no parts; `address` the address in the memory of a device, or 0 if it has none.
 * Each of the three may be NULL. Returns NULL if there is no such content; a content without bytes isn't NULL.
 */
const void* qvora_inspect_content(const qvora_inspect_result* result, size_t index, size_t* size, int* part,
                                  uint64_t* address);

/* Overwrites the contents and frees the result, which may be NULL. */
void qvora_inspect_free(qvora_inspect_result* result);

/* The release of the library, such as "2.20.0 (0123456789ab)". Report and functions stay compatible within 2.x. */
const char* qvora_inspect_version(void);

#ifdef __cplusplus
}
#endif
