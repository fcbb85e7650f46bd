# Fails when a lower layer includes a higher one, or anybody a private header that is not his:
#     cmake -DROOT=<source folder> -P check_layers.cmake

cmake_minimum_required(VERSION 3.25)

# From low to high.
set(layers
  "QuorTrace|QuorPlatformSupport"
  "CFnd"
  "MFnd"
  "Mdid"
  "MdidHost"
  "Tools")

# The rooms of MdidHost, from low to high.
set(rooms Text File Session Import Export Listing Edit Play PianoRoll)

# The layer of a folder, counted from 0; "" for a folder outside of the layers.
function(find_layer folder result)
  set(found "")
  foreach(names IN LISTS layers)
    if(folder MATCHES "^(${names})$")
      list(FIND layers "${names}" found)
    endif()
  endforeach()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

set(faults "")
set(checked 0)
foreach(top IN ITEMS NewFileLibs Tools)
  file(GLOB_RECURSE sources RELATIVE "${ROOT}" "${ROOT}/${top}/*")
  list(FILTER sources INCLUDE REGEX "\\.(c|cc|cpp|h|hpp|inl|ipp)$")
  foreach(source IN LISTS sources)
    string(REGEX REPLACE "^(NewFileLibs/)?([^/]+)/.*$" "\\2" own "${source}")
    find_layer("${own}" layer)
    if(layer STREQUAL "")
      string(APPEND faults "${source}: '${own}' is no layer\n")
      continue()
    endif()
    math(EXPR checked "${checked} + 1")
    file(STRINGS "${ROOT}/${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^[^\"<]*[\"<]([^\">]*).*$" "\\1" header "${include}")
      # The last folder that is a layer, so that a way around by ".." is seen too.
      set(other "")
      set(otherLayer "")
      string(REGEX MATCHALL "[^/]+/" folders "${header}")
      foreach(folder IN LISTS folders)
        string(REPLACE "/" "" folder "${folder}")
        find_layer("${folder}" found)
        if(NOT found STREQUAL "")
          set(other "${folder}")
          set(otherLayer "${found}")
        endif()
      endforeach()
      if(other STREQUAL "")
        continue()
      elseif(otherLayer GREATER layer)
        string(APPEND faults "${source}: includes ${header}, which is of a higher layer\n")
      elseif(header MATCHES "_Private\\.h$" AND NOT other STREQUAL own)
        string(APPEND faults "${source}: includes ${header}, which is private to ${other}\n")
      endif()
      if(source MATCHES "MdidHost/([A-Za-z]+)/")
        list(FIND rooms "${CMAKE_MATCH_1}" ownRoom)
        string(REGEX REPLACE "^MdidHost/([A-Za-z]+)/.*$" "\\1" otherRoom "${header}")
        list(FIND rooms "${otherRoom}" otherRoom)
        if(ownRoom EQUAL -1 OR otherRoom GREATER ownRoom)
          string(APPEND faults "${source}: includes ${header}, which is of a higher room\n")
        endif()
      endif()
      # Private headers are not installed, so a public one that needs them would not compile for a host.
      if(header MATCHES "_Private\\.h$" AND source MATCHES "\\.h$" AND NOT source MATCHES "_Private\\.h$")
        string(APPEND faults "${source}: is public and includes ${header}\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(checked EQUAL 0)
  set(faults "no sources below '${ROOT}'\n")
endif()
if(NOT faults STREQUAL "")
  message(FATAL_ERROR "${faults}")
endif()
message(STATUS "${checked} files keep to their layers")
