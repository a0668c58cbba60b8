# Network namespace fixtures for live tests: included from tests/support/CMakeLists.txt after the
# sonacore_test_support target exists.
find_program(SONACORE_IP_EXECUTABLE ip PATHS /usr/sbin /sbin /usr/bin /bin)
if(NOT SONACORE_IP_EXECUTABLE)
    # Without iproute2 the live tests report the missing program when they run, as they do missing rights.
    set(SONACORE_IP_EXECUTABLE ip)
endif()

target_sources(sonacore_test_support PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/ChildProcess.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ChildProcess.h
    ${CMAKE_CURRENT_LIST_DIR}/CaptureStall.h
    ${CMAKE_CURRENT_LIST_DIR}/DropDiagnostics.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DropDiagnostics.h
    ${CMAKE_CURRENT_LIST_DIR}/NetnsFixture.cpp
    ${CMAKE_CURRENT_LIST_DIR}/NetnsFixture.h
    ${CMAKE_CURRENT_LIST_DIR}/NetworkNamespace.cpp
    ${CMAKE_CURRENT_LIST_DIR}/NetworkNamespace.h
    ${CMAKE_CURRENT_LIST_DIR}/VethPair.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VethPair.h
)
find_package(Threads REQUIRED)
target_link_libraries(sonacore_test_support PUBLIC Threads::Threads)
# Paths come in at build time, never from the working directory or PATH of the test run.
target_compile_definitions(sonacore_test_support PRIVATE SONACORE_IP_PATH="${SONACORE_IP_EXECUTABLE}")
# Tools are configured before tests, so the talker target is known here unless tools are switched off.
if(TARGET sonacore-avtp-talker)
    target_compile_definitions(sonacore_test_support PRIVATE
        SONACORE_TALKER_PATH="$<TARGET_FILE:sonacore-avtp-talker>")
    add_dependencies(sonacore_test_support sonacore-avtp-talker)
else()
    target_compile_definitions(sonacore_test_support PRIVATE SONACORE_TALKER_PATH="")
endif()
