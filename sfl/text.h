#pragma once

/// Removes white space (by isspace) from both ends of `text`, in place, and returns `text`.
char* trim(char* text);

/// First occurrence of `needle` in `haystack`, byte for byte, or null. An empty needle is found at the
/// start.
char* strfind_r(char* haystack, const char* needle);
