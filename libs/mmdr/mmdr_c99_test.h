#ifndef MMDR_C99_TEST_H
#define MMDR_C99_TEST_H

#ifdef __cplusplus
extern "C" {
#endif

/* Calls each exported function once; returns how many of the nine that have a result gave the good one. */
int CallEverythingFromC(void);

#ifdef __cplusplus
}
#endif
#endif
