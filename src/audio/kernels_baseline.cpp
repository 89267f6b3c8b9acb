#define ORBI_KERNEL_NAMESPACE kernels_baseline
#define ORBI_KERNEL_NAME "baseline"
#include "audio/kernels_body.h"
