# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT

# Runs before CPack makes a package of what is installed: packages have compressed manual pages.
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.1")
if(NOT pages)
    message(FATAL_ERROR "There are no manual pages below ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
execute_process(COMMAND gzip --best --no-name ${pages} COMMAND_ERROR_IS_FATAL ANY)
