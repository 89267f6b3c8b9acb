// Compiled with AVX2 where the build's processors can have it; the same as the baseline elsewhere.
#define ORBI_KERNEL_NAMESPACE kernels_avx2
#define ORBI_KERNEL_NAME "avx2"
#include "audio/kernels_body.h"
