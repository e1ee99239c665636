// The reader's error and warning lines, in the form that hosts expect.
#pragma once

/// Logs one message as an error or a warning of this plug-in. Messages are used as they stand.
void logError(const char* message);
void logWarning(const char* message);
