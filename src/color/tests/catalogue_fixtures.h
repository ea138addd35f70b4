#pragma once

// Profiles for the catalogue and measuring tests: small profiles of any
// class and space for folder trees, and printing profiles with the ink
// behaviours that the measures have to tell apart.

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "color/cm2_header.h"
#include "color/tests/profile_fixtures.h"

namespace slidebox::testing {

/// A small profile that the engine opens, of any class and space: an RGB
/// matrix shaper whose class, data colour space and connection space are
/// then written over in the header. Version 2 stores the description as a
/// text description, version 4 as localized Unicode ('mluc'); without a
/// description there is no 'desc' element. No colour world is built from it.
Bytes catalogueProfile(color::OSType profileClass, color::OSType space,
                       std::optional<std::string> description, double version = 2.1,
                       color::OSType pcs = color::cmXYZData);

/// Writes the six date fields into the header bytes.
void setDate(Bytes& bytes, const color::CMDateTime& date);

/// Writes a 'desc' element in place of the profile's own: the bytes given,
/// which follow the 4-byte type signature 'desc' and 4 reserved bytes.
Bytes withRawDescription(const Bytes& profile, const std::vector<std::uint8_t>& afterReserved);

/// A printing (CMYK, 'prtr') profile with 'mft2' tables of grid 9 for all
/// three intents both ways. The device side is a plain ink model of sRGB;
/// the separation is the plain one (every neutral in black alone) unless
/// one is given (L 0..100, a, b in; inks 0..1 out).
color::ProfileRecipe
printerRecipe(std::function<std::array<double, 4>(double L, double a, double b)> separation = {});

/// The separations of the edge cases, each a function of L alone so that the
/// neutral axis holds exactly the values of the table's nodes:
/// no black ink anywhere;
std::array<double, 4> separationWithoutBlack(double L, double a, double b);
/// black ink of 1 % already on white, rising to full;
std::array<double, 4> separationBlackOnWhite(double L, double a, double b);
/// four inks of 49151/65535 each at L 0 (74.9996 %, a total just under 300).
std::array<double, 4> separationJustUnder300(double L, double a, double b);

} // namespace slidebox::testing
