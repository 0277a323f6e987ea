#include "Common_CPP/util/error_words.h"

#include <algorithm>
#include <iterator>

#include "Common_CPP/util/last_error.h"

namespace {

struct ErrorWords {
  uint32_t number;      ///< as the thread's last error
  std::errc condition;  ///< the same to the standard library
  const char* words;
};

constexpr ErrorWords kErrorWords[] = {
    {kKxErrorFileNotFound, std::errc::no_such_file_or_directory, "no such file or folder"},
    {3, std::errc::no_such_file_or_directory, "no such file or folder"},
    {kKxErrorTooManyOpenFiles, std::errc::too_many_files_open, "too many files are open"},
    {kKxErrorTooManyOpenFiles, std::errc::too_many_files_open_in_system, "too many files are open"},
    {kKxErrorAccessDenied, std::errc::permission_denied, "no permission"},
    {kKxErrorAccessDenied, std::errc::operation_not_permitted, "no permission"},
    {kKxErrorNotEnoughMemory, std::errc::not_enough_memory, "out of memory"},
    {19, std::errc::read_only_file_system, "what it lies on can only be read"},
    {32, std::errc::text_file_busy, "in use by another program"},
    {33, std::errc::text_file_busy, "in use by another program"},
    {50, std::errc::operation_not_supported, "the system cannot do that there"},
    {80, std::errc::file_exists, "something of that name is there already"},
    {112, std::errc::no_space_on_device, "the disk is full"},
    {123, std::errc::invalid_argument, "no name that a file can have"},
    {170, std::errc::device_or_resource_busy, "in use by another program"},
    {183, std::errc::file_exists, "something of that name is there already"},
    {206, std::errc::filename_too_long, "the name is too long"},
    {267, std::errc::not_a_directory, "what should be a folder is none"},
    {kKxErrorIoDevice, std::errc::io_error, "the disk or device failed"},
    {1460, std::errc::timed_out, "it took too long"},
    {1921, std::errc::too_many_symbolic_link_levels, "its links lead in a circle"},
};

template <class IsIt>
std::string WordsOf(IsIt isIt, long long number) {
  const auto found = std::find_if(std::begin(kErrorWords), std::end(kErrorWords), isIt);
  return found != std::end(kErrorWords) ? found->words : "error " + std::to_string(number);
}

}  // namespace

std::string KxError_Words() {
  const uint32_t number = KxLastError_Get();
  return WordsOf([number](const ErrorWords& each) { return each.number == number; }, number);
}

std::string KxError_Words(const std::error_code& error) {
  return WordsOf([&error](const ErrorWords& each) { return error == each.condition; }, error.value());
}
