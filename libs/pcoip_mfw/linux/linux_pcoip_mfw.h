#pragma once

/// Starts what the whole process needs, once: later calls do nothing, also after MfwLog_TearDown. Host-serialised.
void MfwLog_Init();

/// Closes the settings store and nothing else. Host-serialised.
void MfwLog_TearDown();
