# Run as: cmake -DCXX_COMPILER=<c++> -DSOURCE_DIR=<tree> -DWORK_DIR=<dir> -P check_host_surface.cmake
#
# The chief header must let a host use the model and its types, and must not let it name any
# of the library's internal operations: those are not exported, so a call that compiled would
# only fail when linked. Compiles (syntax only, as a host would include it) one host that uses
# what a host may use, which must compile, and one host per internal operation, each of which
# must fail with an error that names the operation.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

set(prologue [=[
#include "iteration/adjustment_model.h"

void Host(ZR::AdjustmentModel& model, SparseMatrix& matrix, SparseRow& row,
          const ValueHandle& handle) {
]=])

set(allowed [=[
  ZR::VOValue value(7, 1.0);
  RegisterVObject(value.GetId(), &value);
  model.values.insert(ValueHandle{nullptr, value.GetId()});
  model.points.insert(NetworkPoint{handle, handle, handle});
  double sigma0 = 0.0;
  model.Iterate(sigma0, 1.0, 1e10, false, true, 0, 0, 0.0, nullptr);
  double sum = 0.0;
  for (std::uint32_t r = 0; r < model.normalInverse.RowCount(); ++r) {
    for (const auto& [column, entry] : model.normalInverse.rows[r]) sum += entry + column;
  }
  sum += GetElement(matrix, 0, 0) + static_cast<double>(matrix.EntryCount() + row.EntryCount());
  SparseMatrix copy = model.normalInverse;
  DenseVector vector(3);
  sum += vector[0] + model.unknowns.find(handle)->second;
  UnregisterVObject(value.GetId());
}
]=])

# name of the operation, then the statement that calls it
set(internalCalls
  SetElement "SetElement(matrix, 0u, 0u, 1.0)"
  ResizeRows "ResizeRows(matrix, 3)"
  SparseRowWriter "SparseRowWriter(row).Store(0, 1.0)"
  NumberUnknowns "model.unknowns = NumberUnknowns(model.values, model.fixedValues)"
  Resolve "Resolve(handle)"
  MultiplyTransposed "MultiplyTransposed(matrix, matrix, model.normalInverse)"
  BuildDatumConstraints "BuildDatumConstraints(matrix, model.points, model.unknowns)"
  SolveNormalEquations "SolveNormalEquations(matrix)")

function(compile name body resultVariable outputVariable)
  file(WRITE ${WORK_DIR}/${name}.cpp "${prologue}${body}")
  execute_process(
    COMMAND ${CXX_COMPILER} -std=c++20 -fsyntax-only -I${SOURCE_DIR} ${WORK_DIR}/${name}.cpp
    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(${resultVariable} ${status} PARENT_SCOPE)
  set(${outputVariable} "${output}" PARENT_SCOPE)
endfunction()

compile(allowed "${allowed}" status output)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "a host using the public types does not compile:\n${output}")
endif()

set(failures "")
list(LENGTH internalCalls length)
math(EXPR last "${length} - 1")
foreach(index RANGE 0 ${last} 2)
  math(EXPR statementIndex "${index} + 1")
  list(GET internalCalls ${index} operation)
  list(GET internalCalls ${statementIndex} statement)
  compile(calls_${operation} "  ${statement};\n}\n" status output)
  if(status EQUAL 0)
    string(APPEND failures "\n  ${operation}: compiles through the chief header")
  elseif(NOT output MATCHES "${operation}")
    string(APPEND failures "\n  ${operation}: fails for another reason:\n${output}")
  endif()
endforeach()
if(failures)
  message(FATAL_ERROR "internal operations reachable by a host:${failures}")
endif()
