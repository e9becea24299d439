# harness_tests: a crash or a hang of a test program fails its ctest entry.
#   cmake -DCTEST=ctest -DBUILD_TREE=build -DREFERENCE=platform_tests -DPROBE_TREE=dir
#         -DCRASHING=crash.exe -DLATE_CRASHING=late.exe -DHANGING=hang.exe -P CheckVerdicts.cmake
#
# 1. Every ctest entry of BUILD_TREE has a pass expression, a failure
#    expression and a time limit, and is not expected to fail; every test
#    program run through the Wine runner has the expressions of REFERENCE
#    (those of tests/CMakeLists.txt).
# 2. In a ctest tree of its own (PROBE_TREE), the crashing probe runs
#    through REFERENCE's runner with its expressions and time limit; then
#    twice more with its exit code made 0, once with the expressions and
#    once without; the probe that crashes after its summary runs with its
#    exit code made 0 and the expressions; the hanging probe runs with the
#    expressions and a short limit.
# 3. ctest must report the crash failed (and the probe's third test never
#    ran), the crash that exits 0 failed with the expressions and passed
#    without them, the crash after the summary failed, and the hang timed
#    out (its process gone afterwards). Wine's exit code after a fault is 5
#    or 0 depending on the thread and the moment (measured: a fault on a
#    worker thread while the main thread waits gave 0 in 2 of 6 runs), so
#    only the expressions can be trusted with it; the exit code made 0 is
#    that case, made certain.
# Prints "harness: every check passed" at the end; any failure stops with
# "harness: FAIL ...".
cmake_minimum_required(VERSION 3.25)

foreach(argument CTEST BUILD_TREE REFERENCE PROBE_TREE CRASHING LATE_CRASHING HANGING)
  if(NOT DEFINED ${argument})
    message(FATAL_ERROR "harness: FAIL usage: ${argument} is not given")
  endif()
endforeach()

# The limit the hanging probe gets: short, so that the proof stays quick;
# the limits of the real entries are checked for being there.
set(hang_limit 15)

function(fail)
  string(CONCAT text ${ARGV})
  message(FATAL_ERROR "harness: FAIL ${text}")
endfunction()

# The value of property `property` of entry `index` in `json` (a list for
# an array), or "<none>".
function(entry_property json index property out)
  set(value "<none>")
  string(JSON count ERROR_VARIABLE error LENGTH "${json}" tests ${index} properties)
  if(NOT error AND count GREATER 0)
    math(EXPR last "${count} - 1")
    foreach(slot RANGE ${last})
      string(JSON name GET "${json}" tests ${index} properties ${slot} name)
      if(name STREQUAL property)
        string(JSON type TYPE "${json}" tests ${index} properties ${slot} value)
        if(type STREQUAL "ARRAY")
          set(value "")
          string(JSON items LENGTH "${json}" tests ${index} properties ${slot} value)
          math(EXPR lastItem "${items} - 1")
          foreach(item RANGE ${lastItem})
            string(JSON text GET "${json}" tests ${index} properties ${slot} value ${item})
            list(APPEND value "${text}")
          endforeach()
        else()
          string(JSON value GET "${json}" tests ${index} properties ${slot} value)
        endif()
      endif()
    endforeach()
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

# --- 1. every entry of the build ---------------------------------------------
execute_process(COMMAND ${CTEST} --test-dir ${BUILD_TREE} --show-only=json-v1
                OUTPUT_VARIABLE json RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  fail("ctest --show-only in ${BUILD_TREE} exited ${rc}")
endif()
string(JSON entries LENGTH "${json}" tests)
math(EXPR lastEntry "${entries} - 1")

set(reference_index "")
foreach(index RANGE ${lastEntry})
  string(JSON name GET "${json}" tests ${index} name)
  if(name STREQUAL REFERENCE)
    set(reference_index ${index})
  endif()
endforeach()
if(reference_index STREQUAL "")
  fail("no entry ${REFERENCE} in ${BUILD_TREE}")
endif()
entry_property("${json}" ${reference_index} PASS_REGULAR_EXPRESSION pass)
entry_property("${json}" ${reference_index} FAIL_REGULAR_EXPRESSION failure)
entry_property("${json}" ${reference_index} TIMEOUT limit)
string(JSON command_length LENGTH "${json}" tests ${reference_index} command)
math(EXPR last_word "${command_length} - 2")
set(runner "")
foreach(word RANGE ${last_word})
  string(JSON text GET "${json}" tests ${reference_index} command ${word})
  list(APPEND runner "${text}")
endforeach()
if(runner STREQUAL "" OR NOT runner MATCHES "wine-run\\.sh")
  fail("${REFERENCE} does not run through the Wine runner: '${runner}'")
endif()

set(programs 0)
foreach(index RANGE ${lastEntry})
  string(JSON name GET "${json}" tests ${index} name)
  entry_property("${json}" ${index} PASS_REGULAR_EXPRESSION entry_pass)
  entry_property("${json}" ${index} FAIL_REGULAR_EXPRESSION entry_failure)
  entry_property("${json}" ${index} TIMEOUT entry_limit)
  entry_property("${json}" ${index} WILL_FAIL entry_will_fail)
  entry_property("${json}" ${index} DISABLED entry_disabled)
  if(entry_pass STREQUAL "<none>" OR entry_pass STREQUAL "")
    fail("${name} has no pass expression: its exit code alone decides, and a crash under Wine exits 0")
  endif()
  if(entry_failure STREQUAL "<none>" OR entry_failure STREQUAL "")
    fail("${name} has no failure expression: with a pass expression its exit code is ignored")
  endif()
  if(entry_limit STREQUAL "<none>" OR NOT entry_limit GREATER 0)
    fail("${name} has no time limit: a hang would run until killed by hand")
  endif()
  if(entry_will_fail AND NOT entry_will_fail STREQUAL "<none>")
    fail("${name} is expected to fail")
  endif()
  if(entry_disabled AND NOT entry_disabled STREQUAL "<none>")
    fail("${name} is disabled")
  endif()
  string(JSON command_length LENGTH "${json}" tests ${index} command)
  math(EXPR last_word "${command_length} - 1")
  string(JSON program GET "${json}" tests ${index} command ${last_word})
  string(JSON first GET "${json}" tests ${index} command 0)
  if(first MATCHES "wine-run\\.sh$" AND program MATCHES "\\.exe$")
    if(NOT entry_pass STREQUAL pass OR NOT entry_failure STREQUAL failure)
      fail("${name} runs a test program with expressions other than ${REFERENCE}'s: '${entry_pass}' / '${entry_failure}'")
    endif()
    math(EXPR programs "${programs} + 1")
  endif()
endforeach()
message("harness: ok    ${entries} entries, each with a pass and a failure expression and a time limit; "
        "${programs} test programs with '${pass}' / '${failure}'")

# --- 2. the probes in a tree of their own --------------------------------------
function(bracket text out)
  set(${out} "[==[${text}]==]" PARENT_SCOPE)
endfunction()
set(runner_words "")
foreach(word IN LISTS runner)
  bracket("${word}" quoted)
  string(APPEND runner_words " ${quoted}")
endforeach()
bracket("${pass}" pass_quoted)
bracket("${failure}" failure_quoted)
bracket("${CRASHING}" crashing_quoted)
bracket("${LATE_CRASHING}" late_crashing_quoted)
bracket("${HANGING}" hanging_quoted)
file(REMOVE_RECURSE ${PROBE_TREE})
file(MAKE_DIRECTORY ${PROBE_TREE})
# The same run with its exit code made 0, as Wine's at times is.
set(exit_zero "/bin/sh -c [==[\"$0\" \"$@\"; exit 0]==]")
file(WRITE ${PROBE_TREE}/CTestTestfile.cmake
     "# Written by tests/harness/CheckVerdicts.cmake.\n"
     "add_test(crashing_probe${runner_words} ${crashing_quoted})\n"
     "set_tests_properties(crashing_probe PROPERTIES PASS_REGULAR_EXPRESSION ${pass_quoted}\n"
     "                     FAIL_REGULAR_EXPRESSION ${failure_quoted} TIMEOUT ${limit})\n"
     "add_test(crashing_probe_exit_zero ${exit_zero}${runner_words} ${crashing_quoted})\n"
     "set_tests_properties(crashing_probe_exit_zero PROPERTIES PASS_REGULAR_EXPRESSION ${pass_quoted}\n"
     "                     FAIL_REGULAR_EXPRESSION ${failure_quoted} TIMEOUT ${limit})\n"
     "add_test(crashing_probe_exit_zero_unguarded ${exit_zero}${runner_words} ${crashing_quoted})\n"
     "set_tests_properties(crashing_probe_exit_zero_unguarded PROPERTIES TIMEOUT ${limit})\n"
     "add_test(late_crashing_probe_exit_zero ${exit_zero}${runner_words} ${late_crashing_quoted})\n"
     "set_tests_properties(late_crashing_probe_exit_zero PROPERTIES PASS_REGULAR_EXPRESSION ${pass_quoted}\n"
     "                     FAIL_REGULAR_EXPRESSION ${failure_quoted} TIMEOUT ${limit})\n"
     "add_test(hanging_probe${runner_words} ${hanging_quoted})\n"
     "set_tests_properties(hanging_probe PROPERTIES PASS_REGULAR_EXPRESSION ${pass_quoted}\n"
     "                     FAIL_REGULAR_EXPRESSION ${failure_quoted} TIMEOUT ${hang_limit})\n")

# --- 3. what ctest reports -------------------------------------------------------
# run(NAME OUT): NAME run alone by ctest, verbosely; its whole report in OUT.
function(run name out)
  execute_process(COMMAND ${CTEST} --test-dir ${PROBE_TREE} -R "^${name}$" -V
                  OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  string(REPLACE "\r" "" output "${output}${errors}")
  set(${out} "${output}" PARENT_SCOPE)
endfunction()
# verdict(NAME REPORT OUT): ctest's word for NAME in REPORT (Passed, Failed, Timeout...).
function(verdict name report out)
  if(report MATCHES "Test +#[0-9]+: ${name} [ .]*(\\*\\*\\*)?([A-Za-z]+)")
    set(${out} "${CMAKE_MATCH_2}" PARENT_SCOPE)
  else()
    set(${out} "<no verdict>" PARENT_SCOPE)
  endif()
endfunction()

run(crashing_probe report)
verdict(crashing_probe "${report}" word)
if(NOT word STREQUAL "Failed")
  fail("the crashing probe is reported '${word}', not Failed:\n${report}")
endif()
if(NOT report MATCHES "\\[ RUN      \\] CrashingProbe\\.WritesThroughANullPointer")
  fail("the crashing probe did not reach its null write:\n${report}")
endif()
if(report MATCHES "CrashingProbe\\.NeverRunsAfterTheCrash")
  fail("the crashing probe ran its third test: it did not crash:\n${report}")
endif()
message("harness: ok    a test program that dies of a null write part-way is reported Failed")

run(crashing_probe_exit_zero report)
verdict(crashing_probe_exit_zero "${report}" word)
if(NOT word STREQUAL "Failed")
  fail("the crash that exits 0 is reported '${word}', not Failed:\n${report}")
endif()
run(crashing_probe_exit_zero_unguarded report)
verdict(crashing_probe_exit_zero_unguarded "${report}" word)
if(NOT word STREQUAL "Passed")
  fail("without the expressions the crash that exits 0 is reported '${word}', not Passed: this control no longer "
       "shows what the expressions catch:\n${report}")
endif()
message("harness: ok    the same crash with exit code 0 is reported Failed, and Passed without the expressions")

run(late_crashing_probe_exit_zero report)
verdict(late_crashing_probe_exit_zero "${report}" word)
if(NOT word STREQUAL "Failed")
  fail("the crash after the summary, exiting 0, is reported '${word}', not Failed:\n${report}")
endif()
if(NOT report MATCHES "\\[  PASSED  \\] 1 test\\.")
  fail("the probe that crashes at exit did not reach its summary first:\n${report}")
endif()
message("harness: ok    a test program that dies after its summary, exiting 0, is reported Failed")

string(TIMESTAMP started "%s")
run(hanging_probe report)
string(TIMESTAMP ended "%s")
math(EXPR took "${ended} - ${started}")
verdict(hanging_probe "${report}" word)
if(NOT word STREQUAL "Timeout")
  fail("the hanging probe is reported '${word}', not Timeout:\n${report}")
endif()
# The killed program must not outlive its entry: a bounded poll for it.
foreach(poll RANGE 20)
  execute_process(COMMAND pgrep -f "^${HANGING}" RESULT_VARIABLE found OUTPUT_QUIET ERROR_QUIET)
  if(NOT found EQUAL 0)
    break()
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E sleep 0.5)
endforeach()
if(found EQUAL 0)
  fail("the hanging probe still runs 10 s after its time limit ended it")
endif()
message("harness: ok    a test program that hangs is reported Timeout after ${took} s and is gone")

message("harness: every check passed")
