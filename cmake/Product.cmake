# What the program is called. The sources read it in base/Product.h.
set(TALLYWICK_NAME "Corvane Tallywick")
set(TALLYWICK_IDENTIFIER com.corvane.tallywick)
set(TALLYWICK_EXECUTABLE CorvaneUtility)
# The oldest kernel that it runs on: Debian 12 has this one.
set(TALLYWICK_MINIMUM_SYSTEM_VERSION 6.1)
set(TALLYWICK_MAKER_HOST corvane.example)
set(TALLYWICK_BUNDLE "${PROJECT_BINARY_DIR}/${TALLYWICK_NAME}.app")
