# Warnings, sanitizers and code generation that every target of the project shares.

# mirel_target(NAME): the project's warnings and sanitizers.
function(mirel_target name)
  target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wconversion)
  if(MIREL_WERROR)
    target_compile_options(${name} PRIVATE -Werror)
  endif()
  if(MIREL_SANITIZE)
    target_compile_options(${name} PRIVATE -fsanitize=${MIREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${name} PRIVATE -fsanitize=${MIREL_SANITIZE})
  endif()
endfunction()

# mirel_deterministic_math(NAME): the same bits from every compiler and on every machine: no contraction into
# fused multiply-adds, and on x86 one baseline whatever the machine that builds.
function(mirel_deterministic_math name)
  target_compile_options(${name} PRIVATE -ffp-contract=off -fno-math-errno -fno-trapping-math)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(${name} PRIVATE -march=x86-64-v2)
  endif()
endfunction()
