// Writes the results of both curves under every record as raw floats to standard output, for
// check_log_curve.sh to compare between builds.
#include "kinedec/log_curve.h"

#include <cstdio>

int main() {
    for (const _kine_curve_param& record : table)
        for (int i = -200; i <= 20200; ++i) {
            const float value = static_cast<float>(i) / 20000.0F;
            const float results[] = {lin2log(&record, value), log2lin(&record, value)};
            if (std::fwrite(results, sizeof results, 1, stdout) != 1) return 1;
        }
    return 0;
}
