# Compiler settings shared by the library, its tests and tools.

set(KVTSIM_WARNINGS -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wold-style-cast)

# Options for code that goes into the library: hidden symbols by default,
# source paths relative to the repository in check reports and error locations.
function(kvtsim_library_options target)
  target_compile_options(${target} PRIVATE ${KVTSIM_WARNINGS}
      -fvisibility=hidden
      "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
  if(KVTSIM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  kvtsim_sanitizer_options(${target})
endfunction()

# Options for tests, tools and examples.
function(kvtsim_program_options target)
  target_compile_options(${target} PRIVATE ${KVTSIM_WARNINGS}
      "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
  if(KVTSIM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  kvtsim_sanitizer_options(${target})
endfunction()

function(kvtsim_sanitizer_options target)
  if(KVTSIM_TSAN)
    target_compile_options(${target} PRIVATE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=thread)
  endif()
  if(KVTSIM_SANITIZE)
    target_compile_options(${target} PRIVATE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()
