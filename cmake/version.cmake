# The version and the build's identifier, which is the commit that is built ("-changed": and more), or "none" outside of
# a repository. With -DSOURCE, -DVERSION and -DHEADER it writes the header, where it would change.
file(REAL_PATH ${SOURCE}/.. above)
set(ENV{GIT_CEILING_DIRECTORIES} ${above})  # not of a repository around this one
execute_process(COMMAND git describe --always --dirty=-changed --abbrev=12 --exclude=*
  WORKING_DIRECTORY ${SOURCE} RESULT_VARIABLE failed OUTPUT_VARIABLE build OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT failed STREQUAL "0")
  set(build none)
endif()
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#define KV_VERSION \"${VERSION}\"\n#define KV_BUILD \"${build}\"\n")
