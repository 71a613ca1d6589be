include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Makes mistakes with memory end the program rather than serve an attacker. The fortified functions
# need an optimising compiler; sanitizers find more and would not see through them. What whoever
# builds says of the fortification holds.
function(tiomipra_harden target)
  target_compile_options(${target} PRIVATE -fstack-protector-strong)
  target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  if(NOT CMAKE_CXX_FLAGS MATCHES _FORTIFY_SOURCE)
    target_compile_definitions(${target} PRIVATE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  endif()
  target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
endfunction()

# What every target of this project is built with; nothing of it reaches a consumer.
function(tiomipra_configure_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  # Results must not depend on whether the compiler fuses multiplications and additions.
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
    -ffp-contract=off)
  if(TIOMIPRA_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(TIOMIPRA_SANITIZERS)
    target_compile_options(${target} PRIVATE -fsanitize=${TIOMIPRA_SANITIZERS}
      -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TIOMIPRA_SANITIZERS})
  else()
    tiomipra_harden(${target})
  endif()
endfunction()

# Compiles the sources of a target as a few, or those that are named as one: most of the time goes
# into the headers that all of them include. Not where CMAKE_UNITY_BUILD says otherwise, for tools
# that read the sources one by one.
function(tiomipra_compile_together target)
  if(DEFINED CMAKE_UNITY_BUILD)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
  if(ARGN)
    set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
    set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP together)
  endif()
endfunction()
