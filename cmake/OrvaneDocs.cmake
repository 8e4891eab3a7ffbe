# The target "orvane-docs": the reference of the public headers, with the documents as pages, in <build>/reference/html.
# It does not exist without doxygen. It fails if anything is undocumented or a link is broken.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
    return()
endif()

set(DOXYGEN_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/reference")
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE "${PROJECT_SOURCE_DIR}/README.md")
set(DOXYGEN_IMAGE_PATH "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/docs")
set(DOXYGEN_STRIP_FROM_PATH "${PROJECT_SOURCE_DIR}")
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
# The files are listed below; otherwise the images would be searched in build trees as well.
set(DOXYGEN_RECURSIVE NO)
set(DOXYGEN_DISTRIBUTE_GROUP_DOC YES)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_MARKDOWN_SUPPORT YES)
set(DOXYGEN_TOC_INCLUDE_HEADINGS 2)
set(DOXYGEN_HIDE_UNDOC_RELATIONS NO)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED "Q_OBJECT=" "Q_SLOTS=slots")
set(DOXYGEN_EXPAND_AS_DEFINED ORVANE_INTERFACE_EXPORT)
set(DOXYGEN_SHOW_INCLUDE_FILES NO)

doxygen_add_docs(orvane-docs
    README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
    docs/hosting.md docs/protocol.md docs/performance.md docs/misuse-table.md docs/internals.md
    ${ORVANE_PUBLIC_HEADERS}
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    COMMENT "Building the reference in ${DOXYGEN_OUTPUT_DIRECTORY}/html")
