#pragma once

#include <string>

/// What a person who was denied something should know: that the product is for members of its group, and how
/// to become one, or that a new membership holds from the next login on. Empty for root and for members.
std::string membershipHint();
