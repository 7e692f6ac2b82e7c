# Run by CPack on the files that go into the packages: Debian's manual pages are compressed.
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*.[1-9]")
list(FILTER pages INCLUDE REGEX "/man/man[1-9]/")
foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9nf "${page}")
endforeach()
