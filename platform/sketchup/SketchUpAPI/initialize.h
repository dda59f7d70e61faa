/* Start and end of the use of the API. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

void SUInitialize(void);
void SUTerminate(void);

#ifdef __cplusplus
}
#endif
