// Kinds of files. A kind decides which directory of the project a file belongs to (db_filename.h)
// and how a file name is looked up (vl_filename.h). The numbers are stored in files and never change.
#pragma once

enum {
    ANIM_DATA = 0,
    PIX_DATA = 1,
    SDL_DATA = 2,
    WIRE_DATA = 3,
    MASK_DATA = 4,
    PIXAR_DATA = 5,  ///< has no directory
    DIR_DATA = 6,
    PROJ_DATA = 7,
    ANY_DATA = 8,
    MISC_DATA = 9,
    DEFAULT_DATA = 10,
    ANYDIR_DATA = 11,
    OPTION_DATA = 12,
    FBI_DATA = 13,     ///< has no directory
    BROWSE_DATA = 14,  ///< has no directory
    PLOT_DATA = 15,
    SLA_DATA = 16,
    SHADER_DATA = 17,
    TEXTURE_DATA = 18,
    TEXT_DATA = 19,
    STAGE_DATA = 20,
    SOURCEPIX_DATA = 21,
    DEBUG_DATA = 22,
    // 23 is free. 28 to 32, 34 to 36 and 38 to 46 have directories, but no names.
    WINDOW_DATA = 24,
    RIB_DATA = 25,
    LIGHT_DATA = 26,
    ENVIRONMENT_DATA = 27,
    SOUND_DATA = 37,
};
