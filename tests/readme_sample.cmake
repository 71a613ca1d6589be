# The sample in the README must be the program that examples/ compiles.
file(READ ${README} readme)
file(READ ${SAMPLE} sample)
string(FIND "${readme}" "```cpp\n${sample}```\n" position)
if(position EQUAL -1)
  message(FATAL_ERROR "the sample in ${README} is not ${SAMPLE}")
endif()
