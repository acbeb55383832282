# Fails unless README names the project's version: cmake -DREADME=... -DVERSION=... -P this
file(READ "${README}" text)
string(FIND "${text}" "Version ${VERSION}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${README} does not say \"Version ${VERSION}\", the version CMake builds")
endif()
