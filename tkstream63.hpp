// tkstream63: in-memory store of streamline simulation results with a keyword-record file.
// The one header a host includes.
#pragma once

#include "common/bounded_array.hpp"
#include "common/errors.hpp"
#include "common/shared_objects.hpp"
#include "common/text.hpp"
#include "common/variant.hpp"
#include "info/stream_storage_info.hpp"
#include "recordfile/record_file.hpp"
#include "recordfile/record_io.hpp"
#include "streamset/stream_set.hpp"
#include "streamstore/store_file_view.hpp"
#include "streamstore/stream_store.hpp"
#include "wafset/waf_set.hpp"
