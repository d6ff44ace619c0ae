# Lays out a fresh exchange folder tree under ROOT, with the stand-in sculpting
# application in SANDBOX/Applications and the stand-in launcher where the
# plug-in looks for it. Run as a script:
#   cmake -DROOT=... -DSANDBOX=... -DMORVEL_EXE=... -DLAUNCHER_EXE=... -DHOST_EXE=...
#         -DSCRIPTS=... -P LayOutSandbox.cmake
foreach(var ROOT SANDBOX MORVEL_EXE LAUNCHER_EXE HOST_EXE SCRIPTS)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "LayOutSandbox.cmake needs -D${var}=...")
    endif()
endforeach()

# Everything below belongs to the sandbox alone: start from nothing.
file(REMOVE_RECURSE "${ROOT}" "${SANDBOX}/Applications")

set(morvel_app "${SANDBOX}/Applications/Morvel.app")
set(launcher_app "${ROOT}/TivMorvel/TivMorvelFromApp.app")
file(MAKE_DIRECTORY
    "${ROOT}/TivApps/Photoshop"
    "${ROOT}/TivProjects/Default"
    "${morvel_app}/Contents/MacOS"
    "${launcher_app}/Contents/MacOS")
file(COPY_FILE "${MORVEL_EXE}" "${morvel_app}/Contents/MacOS/Morvel")
file(COPY_FILE "${LAUNCHER_EXE}" "${launcher_app}/Contents/MacOS/TivMorvelFromApp")

file(WRITE "${ROOT}/TivMorvel/Tiv_Config.txt" "PATH = \"${morvel_app}\"\n")
file(WRITE "${ROOT}/TivApps/Photoshop/Tiv_Config.txt" "PATH = \"${HOST_EXE}\"\n")
file(WRITE "${ROOT}/TivMorvel/Tiv_ProjectPath.txt" "${ROOT}/TivProjects/Default\n")
file(GLOB scripts "${SCRIPTS}/*.mvs")
file(COPY ${scripts} DESTINATION "${ROOT}/TivApps/Photoshop")
