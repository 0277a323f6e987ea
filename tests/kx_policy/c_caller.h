/* What a program in C does with the interface, for the tests that are in C++. */
#ifndef KX_C_CALLER_H
#define KX_C_CALLER_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Compiles `text` to an image in `folder`, asks it about `target`, and copies the answer to `answer`. The status of the
 * first call that did not go well, else that of the evaluation. */
int KxTestC_CompileAndAsk(const char* text, const char* folder, const char* target, char* answer, size_t room);

#ifdef __cplusplus
}
#endif

#endif
