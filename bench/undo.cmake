# Undo beside QUndoStack, where Qt is installed.
find_package(Qt6 QUIET COMPONENTS Gui)
if(Qt6Gui_FOUND)
  kelvo_bench(undo undo_bench.cpp LIBRARIES Qt6::Gui)
  target_compile_definitions(bench_undo PRIVATE QT_NO_KEYWORDS)  # "emit" is a name of ours
endif()
