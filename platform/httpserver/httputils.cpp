#include "platform/httpserver/httputils.h"

#include "platform/httpserver/text.h"

namespace httpserver::http
{

const std::string http_utils::text_plain = "text/plain";

bool header_comparator::operator()(const std::string& left, const std::string& right) const
{
    if (left.size() != right.size())
    {
        return left.size() < right.size();
    }
    return Detail::CompareIgnoringCase(left, right) < 0;
}

} // namespace httpserver::http
