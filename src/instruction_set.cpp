#include "instruction_set.hpp"

#include <opencv2/core.hpp>

namespace vision {

InstructionSet findInstructionSet() {
    if (cv::checkHardwareSupport(CV_CPU_AVX512_SKX))
        return InstructionSet::avx512;
    if (cv::checkHardwareSupport(CV_CPU_AVX2))
        return InstructionSet::avx2;
    return InstructionSet::baseline;
}

std::string name(InstructionSet instructionSet) {
    switch (instructionSet) {
        case InstructionSet::avx512:
            return "avx512";
        case InstructionSet::avx2:
            return "avx2";
        case InstructionSet::baseline:
            break;
    }
    return "baseline";
}

}  // namespace vision
