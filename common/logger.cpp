#include "common/logger.h"
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/attributes/constant.hpp>
namespace Common::logging {
Record::~Record(){ try { boost::log::sources::severity_channel_logger<Severity> lg; auto r=lg.open_record(boost::log::keywords::severity=severity); if(r){ boost::log::record_ostream s(r); s<<text.str(); s.flush(); lg.push_record(boost::move(r)); } } catch(...){} (void)function; }
}
