// Instruction sets that vector code is compiled for beside the one that every processor has.
#ifndef VISION_INSTRUCTION_SET_HPP
#define VISION_INSTRUCTION_SET_HPP

#if defined(__x86_64__)
#define TIOMIPRA_FOR_AVX2 __attribute__((target("avx2,bmi,lzcnt")))
#define TIOMIPRA_FOR_AVX512 \
    __attribute__((target("avx2,bmi,lzcnt,avx512f,avx512vl,avx512bw,avx512dq")))
#endif
// Functions that are compiled for the instruction set of the function that calls them.
#define TIOMIPRA_INLINE __attribute__((always_inline)) inline

#include <string>

namespace vision {

// The slowest first; only `baseline` on machines that aren't x86.
enum class InstructionSet { baseline, avx2, avx512 };

// The fastest that this processor has and OpenCV is allowed to use.
InstructionSet findInstructionSet();

std::string name(InstructionSet instructionSet);

}  // namespace vision

#endif
