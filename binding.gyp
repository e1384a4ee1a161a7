# node-gyp build of build/Release/screencapture.node (npm install, @electron/rebuild,
# electron-builder). The sources are listed by gyp/qt.sh with the same rule as CMakeLists.txt.
{
  'variables': {
    # pkg-config packages linked in: add a word here for another library.
    'pkg_config_packages': 'Qt5Core Qt5Gui Qt5Widgets Qt5DBus xcb xcb-shm x11',
    'qt_bin': '<!(sh gyp/qt.sh bin)',
  },
  'target_defaults': {
    # Qt code here needs RTTI (dynamic_cast); node's defaults turn RTTI
    # and exceptions off, CMake's build leaves them on.
    'cflags_cc!': ['-fno-rtti', '-fno-exceptions'],
    'cflags_cc': ['<!@(sh gyp/qt.sh cflags <(pkg_config_packages))'],
    'include_dirs': [
      'src/diagramscene',
      'src/diagramscene/widget',
      'src/diagramscene/scene',
      'src/diagramscene/global',
      'src/diagramscene/drawitem',
      'src/platform',
    ],
  },
  'targets': [
    {
      # Everything but the Node glue. It never sees Node's headers, so building for another
      # Node or Electron only recompiles the two module files.
      'target_name': 'screencapture_core',
      'type': 'static_library',
      'include_dirs!': [
        '<(node_root_dir)/include/node',
        '<(node_root_dir)/src',
        '<(node_root_dir)/deps/openssl/config',
        '<(node_root_dir)/deps/openssl/openssl/include',
        '<(node_root_dir)/deps/uv/include',
        '<(node_root_dir)/deps/zlib',
        '<(node_root_dir)/<(node_engine_include_dir)',
      ],
      # Node turns this warning off for its own headers; the core gets plain -Wall -Wextra.
      'cflags!': ['-Wno-unused-parameter'],
      'sources': [
        '<!@(sh gyp/qt.sh sources core)',
        '<!@(sh gyp/qt.sh moc-headers)',
      ],
      'rules': [
        {
          'rule_name': 'moc',
          'extension': 'h',
          'outputs': ['<(INTERMEDIATE_DIR)/<(RULE_INPUT_DIRNAME)/moc_<(RULE_INPUT_ROOT).cpp'],
          'action': ['<(qt_bin)/moc', '<(RULE_INPUT_PATH)', '-o', '<@(_outputs)'],
          'message': 'moc <(RULE_INPUT_PATH)',
          'process_outputs_as_sources': 1,
        },
      ],
      'actions': [
        {
          'action_name': 'rcc',
          'inputs': [
            'src/diagramscene/diagramscene.qrc',
            '<!@(<(qt_bin)/rcc --list src/diagramscene/diagramscene.qrc)',
          ],
          'outputs': ['<(INTERMEDIATE_DIR)/qrc_diagramscene.cpp'],
          'action': ['<(qt_bin)/rcc', '--name', 'diagramscene', '--compress-algo', 'zlib',
                     'src/diagramscene/diagramscene.qrc', '-o', '<@(_outputs)'],
          'message': 'rcc diagramscene.qrc',
          'process_outputs_as_sources': 1,
        },
      ],
    },
    {
      'target_name': 'screencapture',
      'dependencies': ['screencapture_core'],
      'include_dirs': ['src'],
      # Node's headers are not -Wextra clean.
      'cflags': ['-Wno-cast-function-type'],
      'sources': ['<!@(sh gyp/qt.sh sources module)'],
      'libraries': ['<!@(sh gyp/qt.sh libs <(pkg_config_packages))'],
    },
  ],
}
