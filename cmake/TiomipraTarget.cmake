# What every target of this project is built with; nothing of it reaches a consumer.
function(tiomipra_configure_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
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
  endif()
endfunction()
