# zyra_generate_schemas(TARGET <target> [PUBLIC] [CATALOGUE <file>] SCHEMAS <files...>)
# Runs the generator on each schema at build time and compiles what it writes into <target>.
# The outputs, <namespace>.h and <namespace>.cpp, lie in the build tree under generated/,
# which <target> gets as an include directory. A schema's `use NAME` finds NAME.schema beside
# it or in the top-level schemas/ folder; the used schema must be in the list of the same
# target, since its tables are compiled there. PUBLIC gives users of <target> the include
# directory too; with a CATALOGUE, a schema of one of its namespaces is checked against it.
#
# zyra_generate_catalogue(TARGET <target> CATALOGUE <file> SCHEMAS <files...>)
# Generates the set managers of the module catalogue, an opaque class for each catalogue
# namespace that none of SCHEMAS describes, and the list of the namespaces SCHEMAS compile
# (compiled_namespaces.cpp, for the schemas read at run time), into the same generated/ folder.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
# The interpreter is the build machine's: no emulator in front of it when cross-compiling.
set_property(TARGET Python3::Interpreter PROPERTY CROSSCOMPILING_EMULATOR "")

set(ZYRA_CODEGEN_DIR ${CMAKE_CURRENT_LIST_DIR}/../codegen)
set(ZYRA_SCHEMA_DIR ${CMAKE_CURRENT_LIST_DIR}/../schemas)
file(GLOB ZYRA_CODEGEN_SOURCES CONFIGURE_DEPENDS
  ${ZYRA_CODEGEN_DIR}/*.py ${ZYRA_CODEGEN_DIR}/zyra_schema/*.py)

# Opaque classes are spread over this many sources, so that a clean build compiles them in
# parallel without one source per class.
set(ZYRA_OPAQUE_SOURCES 8)

function(zyra_generate_schemas)
  cmake_parse_arguments(ARG "PUBLIC" "TARGET;CATALOGUE" "SCHEMAS" ${ARGN})
  set(out_dir ${CMAKE_CURRENT_BINARY_DIR}/generated)
  set(catalogue_args)
  if(ARG_CATALOGUE)
    set(catalogue_args --catalogue ${ARG_CATALOGUE})
  endif()
  foreach(schema IN LISTS ARG_SCHEMAS)
    get_filename_component(schema_path ${schema} ABSOLUTE)
    get_filename_component(stem ${schema} NAME_WE)
    set(outputs ${out_dir}/${stem}.h ${out_dir}/${stem}.cpp)
    add_custom_command(
      OUTPUT ${outputs}
      COMMAND Python3::Interpreter -B ${ZYRA_CODEGEN_DIR}/generate.py --out ${out_dir}
              --schemas ${ZYRA_SCHEMA_DIR} --depfile ${out_dir}/${stem}.d ${catalogue_args}
              ${schema_path}
      DEPENDS ${schema_path} ${ARG_CATALOGUE} ${ZYRA_CODEGEN_SOURCES}
      DEPFILE ${out_dir}/${stem}.d
      COMMENT "Generating ${stem} from its schema"
      VERBATIM)
    target_sources(${ARG_TARGET} PRIVATE ${outputs})
  endforeach()
  if(ARG_PUBLIC)
    target_include_directories(${ARG_TARGET} PUBLIC ${out_dir})
  else()
    target_include_directories(${ARG_TARGET} PRIVATE ${out_dir})
  endif()
endfunction()

function(zyra_generate_catalogue)
  cmake_parse_arguments(ARG "" "TARGET;CATALOGUE" "SCHEMAS" ${ARGN})
  set(out_dir ${CMAKE_CURRENT_BINARY_DIR}/generated)
  set(generator ${ZYRA_CODEGEN_DIR}/generate_catalogue.py)
  # The file names come from the catalogue and the schemas present, so a change of the
  # catalogue configures again, as a new schema does through the caller's glob.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARG_CATALOGUE})
  execute_process(
    COMMAND ${Python3_EXECUTABLE} -B ${generator} --catalogue ${ARG_CATALOGUE}
            --sources ${ZYRA_OPAQUE_SOURCES} --list-outputs ${ARG_SCHEMAS}
    OUTPUT_VARIABLE names
    ERROR_VARIABLE failure
    RESULT_VARIABLE result
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Cannot read the module catalogue: ${failure}")
  endif()
  list(TRANSFORM names PREPEND ${out_dir}/ OUTPUT_VARIABLE outputs)
  add_custom_command(
    OUTPUT ${outputs}
    COMMAND Python3::Interpreter -B ${generator} --catalogue ${ARG_CATALOGUE}
            --sources ${ZYRA_OPAQUE_SOURCES} --out ${out_dir} ${ARG_SCHEMAS}
    DEPENDS ${ARG_CATALOGUE} ${ARG_SCHEMAS} ${ZYRA_CODEGEN_SOURCES}
    COMMENT "Generating the set managers and opaque modules of the module catalogue"
    VERBATIM)
  target_sources(${ARG_TARGET} PRIVATE ${outputs})
  target_include_directories(${ARG_TARGET} PUBLIC ${out_dir})
endfunction()
