# The fuzz targets, each with its seed corpus in the folder of its name
# without the fuzz_ prefix. The container targets share one source and differ
# in the model check they run.
set(ANVIL_FUZZ_TARGETS fuzz_ini fuzz_text fuzz_recvstr fuzz_stat_name fuzz_path fuzz_iov
  fuzz_ring_buffer fuzz_dlist fuzz_array_stream fuzz_word_containers fuzz_string_builder fuzz_bitmap)
set(ANVIL_FUZZ_DIR ${CMAKE_CURRENT_LIST_DIR})

# anvil_fuzz_source(target SRC_VAR MODEL_VAR): the target's source file and,
# for a container target, the name of its check.
function(anvil_fuzz_source name src_var model_var)
  if(EXISTS ${ANVIL_FUZZ_DIR}/${name}.cpp)
    set(${src_var} ${ANVIL_FUZZ_DIR}/${name}.cpp PARENT_SCOPE)
    set(${model_var} "" PARENT_SCOPE)
  else()
    string(REPLACE "fuzz_" "check_" check ${name})
    set(${src_var} ${ANVIL_FUZZ_DIR}/fuzz_model.cpp PARENT_SCOPE)
    set(${model_var} ${check} PARENT_SCOPE)
  endif()
endfunction()
