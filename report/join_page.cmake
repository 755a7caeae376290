# Sets STYLE, LIBRARY and SCRIPTS (a list) into HTML where it says so, and writes PAGE.
cmake_minimum_required(VERSION 3.25)

file(READ ${HTML} page)
file(READ ${STYLE} style)
file(READ ${LIBRARY} library)
set(joined "")
foreach(script IN LISTS SCRIPTS)
  file(READ ${script} text)
  string(APPEND joined "${text}\n")
endforeach()

# The library comes last: nothing is looked for in its text.
string(REPLACE "@style@" "${style}" page "${page}")
string(REPLACE "@scripts@" "${joined}" page "${page}")
string(REPLACE "@library@" "${library}" page "${page}")
file(WRITE ${PAGE} "${page}")
