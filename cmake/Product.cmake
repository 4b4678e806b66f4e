# What the program is called. The sources read it in base/Product.h.
set(TALLYWICK_NAME "Corvane Tallywick")
set(TALLYWICK_IDENTIFIER com.corvane.tallywick)
set(TALLYWICK_EXECUTABLE CorvaneUtility)
# What it is called on a command line where a package has installed it.
set(TALLYWICK_COMMAND tallywick)
# 2026-11-01 00:00:00 UTC, in seconds since 1970: shortly before this version, and to be moved on with it.
set(TALLYWICK_RELEASE_TIME 1793491200)
# The oldest kernel that it runs on: Debian 12 has this one.
set(TALLYWICK_MINIMUM_SYSTEM_VERSION 6.1)
set(TALLYWICK_MAKER_HOST corvane.example)
set(TALLYWICK_BUNDLE "${PROJECT_BINARY_DIR}/${TALLYWICK_NAME}.app")
