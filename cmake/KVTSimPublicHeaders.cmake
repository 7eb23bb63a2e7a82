# The public headers: KVTSimPoolManager.h and every header of the library that
# it includes, directly or through other headers. Callers that use only the
# public API need nothing else; KVTSimPoolManagerInternals.h and the headers of
# the implementation classes are for tests and tools that reach inside.
#
# kvtsim_public_headers(<out> <umbrella> <dir>...) sets <out> to the full
# paths of the umbrella header and of the headers it reaches, found by bare
# name in the directories given (the quoted #include lines are followed; the
# system headers in angle brackets are not).
function(kvtsim_public_headers out umbrella)
  set(pending ${umbrella})
  set(found)
  while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST found)
      continue()
    endif()
    list(APPEND found ${header})
    file(STRINGS ${header} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"]+\"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE ".*\"([^\"]+)\".*" "\\1" name "${line}")
      foreach(dir IN LISTS ARGN)
        if(EXISTS ${dir}/${name})
          list(APPEND pending ${dir}/${name})
          break()
        endif()
      endforeach()
    endforeach()
  endwhile()
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# kvtsim_public_include_dir(<dir> <header>...) makes <dir> hold exactly the
# given headers (symbolic links, or copies where links cannot be made) and
# reruns the configuration when one of them changes, since a changed include
# line may change the set.
function(kvtsim_public_include_dir dir)
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  foreach(header IN LISTS ARGN)
    get_filename_component(name ${header} NAME)
    file(CREATE_LINK ${header} ${dir}/${name} SYMBOLIC COPY_ON_ERROR)
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGN})
endfunction()
