// tiff_date.h - the text of a page's DateTime.
#pragma once

#include "core/settings.h"

/// Fills the 40 bytes of the field from img_date. Interchange mode brings a date into the form
/// "YYYY:MM:DD HH:MM:SS" of TIFF 6.0 where it can be read as one (month-day-year or
/// year-month-day, a time behind it or not), and ends the text within its 20 bytes.
void tiff_date_text(char (&text)[img_date_bytes]);
