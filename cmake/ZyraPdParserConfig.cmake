# find_package(ZyraPdParser) gives the imported target Zyra::zyrapdparser, which brings the
# include folder and links libzyracommonutils (Zyra::zyracommonutils) with it.
include(${CMAKE_CURRENT_LIST_DIR}/ZyraPdParserTargets.cmake)
