#include "batch/kernels/entries.h"

namespace korvel::batch {

const EntryPlaces mass_places = tabulated_places<true>();
const EntryPlaces position_places = tabulated_places<false, first_angle>();
const EntryPlaces velocity_places = tabulated_places<false>();

}  // namespace korvel::batch
