#include "krw/log.h"

#include "host/error_output.h"

void logError(const char* message) {
    ErrFmtOut(kErrorStatus, 0, 0, "ERROR(pvx_krw): %s\n\r", message);
}

void logWarning(const char* message) {
    ErrFmtOut(kWarningStatus, 0, 0, "WARNING(pvx_krw): %s\n\r", message);
}
