#pragma once

#include "host/framework.h"

namespace host::local {

/// Layout of the trace header array that the local host delivers. Words 0 to 15 are the standard headers, mapped and
/// added headers follow, and the 240 bytes of the trace header as the file holds them (big endian) travel along behind
/// them, so that an output trace can carry every byte of the input trace that it stems from.
inline constexpr int headerWords = 128;   ///< words per trace
inline constexpr int firstFreeWord = 16;  ///< first word for mapped and added headers
inline constexpr int rawHeaderWord = 64;  ///< first word of the raw trace header
inline constexpr int rawHeaderBytes = 240;

/// Indices from 1, as the framework counts standard headers.
inline constexpr StandardHeaders standardHeaders{.icdp = 1,
                                                 .iiline_no = 2,
                                                 .ixline_no = 3,
                                                 .icdp_x = 4,
                                                 .icdp_y = 5,
                                                 .ioffset = 6,
                                                 .isou_x = 7,
                                                 .isou_y = 8,
                                                 .irec_x = 9,
                                                 .irec_y = 10,
                                                 .ina_stat = 11,
                                                 .itrc_type = 12,
                                                 .iend_ens = 13,
                                                 .ilseg_seq = 14,
                                                 .itr_fold = 15,
                                                 .idiskiter = 16};

}  // namespace host::local
