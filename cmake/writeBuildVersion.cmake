# Writes the source that defines buildVersion, if its content changes:
# cmake -DSOURCE=tree -DRELEASE=2.20.0 -DOUTPUT=file.cpp -P writeBuildVersion.cmake
cmake_minimum_required(VERSION 3.25)
include(${SOURCE}/cmake/findCommit.cmake)
find_commit(${SOURCE} commit date)
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "#include \"display/buildVersion.h\"

const char buildVersion[] = \"@RELEASE@ (@commit@)\";
" @ONLY)
