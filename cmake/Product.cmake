# What the program is called. The sources read it in base/Product.h.
set(TALLYWICK_NAME "Corvane Tallywick")
set(TALLYWICK_IDENTIFIER com.corvane.tallywick)
set(TALLYWICK_EXECUTABLE CorvaneUtility)
set(TALLYWICK_MAKER_HOST corvane.example)
set(TALLYWICK_BUNDLE "${PROJECT_BINARY_DIR}/${TALLYWICK_NAME}.app")
