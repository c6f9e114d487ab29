# zyra_generate_schemas(TARGET <target> SCHEMAS <files...>)
# Runs the generator on each schema at build time and compiles what it writes into <target>.
# The outputs, <namespace>.h and <namespace>.cpp, lie in the build tree under generated/,
# which <target> gets as an include directory. A schema's `use NAME` finds NAME.schema beside
# it or in the top-level schemas/ folder; the used schema must be in the list of the same
# target, since its tables are compiled there.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
# The interpreter is the build machine's: no emulator in front of it when cross-compiling.
set_property(TARGET Python3::Interpreter PROPERTY CROSSCOMPILING_EMULATOR "")

set(ZYRA_CODEGEN_DIR ${CMAKE_CURRENT_LIST_DIR}/../codegen)
set(ZYRA_SCHEMA_DIR ${CMAKE_CURRENT_LIST_DIR}/../schemas)
file(GLOB ZYRA_CODEGEN_SOURCES CONFIGURE_DEPENDS
  ${ZYRA_CODEGEN_DIR}/*.py ${ZYRA_CODEGEN_DIR}/zyra_schema/*.py)

function(zyra_generate_schemas)
  cmake_parse_arguments(ARG "" "TARGET" "SCHEMAS" ${ARGN})
  set(out_dir ${CMAKE_CURRENT_BINARY_DIR}/generated)
  foreach(schema IN LISTS ARG_SCHEMAS)
    get_filename_component(schema_path ${schema} ABSOLUTE)
    get_filename_component(stem ${schema} NAME_WE)
    set(outputs ${out_dir}/${stem}.h ${out_dir}/${stem}.cpp)
    add_custom_command(
      OUTPUT ${outputs}
      COMMAND Python3::Interpreter -B ${ZYRA_CODEGEN_DIR}/generate.py --out ${out_dir}
              --schemas ${ZYRA_SCHEMA_DIR} --depfile ${out_dir}/${stem}.d ${schema_path}
      DEPENDS ${schema_path} ${ZYRA_CODEGEN_SOURCES}
      DEPFILE ${out_dir}/${stem}.d
      COMMENT "Generating ${stem} from its schema"
      VERBATIM)
    target_sources(${ARG_TARGET} PRIVATE ${outputs})
  endforeach()
  target_include_directories(${ARG_TARGET} PRIVATE ${out_dir})
endfunction()
