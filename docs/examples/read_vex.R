# Reads a binary file of vex into lists of vectors and matrices.
#
#   source("read_vex.R")
#   file <- read_vex("spectra.bin")
#   for (records in file$parts) {             # as a rule just one
#     records$Common$latitude                 # (records)
#     records$L1C$spectrum                    # (records, channels)
#     records$ozo$integrated_o3_density       # (records, layers)
#   }
#
# Run as a program it prints the records as vex -of txt does: Rscript read_vex.R FILE
# The fields are described in docs/formats.md, in the column "Variable" (without the prefix of the block). A file is held in memory as a whole.
# HeightOfStation (satellite_height) is in km in records with an L1C pixel, and in metres in all others.

vex_archive_channels <- 8700  # samples of a message; the last 239 are behind the spectrum
vex_sizes <- c(h = 2, b = 1, i = 4, r = 4)  # bytes of int2, int1, int4, real4

# Made by scripts/lib/tables from what vex itself walks over:
# table: blocks
vex_kinds <- c(ozo = 3, trg = 4, clp = 1, twt = 2, ems = 5)  # codes of the header, in the order of the blocks
# Groups of fields: block, how often they are repeated, how often in pixels from
# 2014-09-30 07:23:00 on, types (h int2, b int1, i int4, r real4) and names; behind them the
# fields that are repeated within each repetition.
vex_groups <- list(
  list("Common", 1, 1, c("h year", "b month day hour minute", "i milliseconds",
    "r latitude longitude satellite_zenith_angle satellite_azimuth_angle solar_zenith_angle", "r solar_azimuth_angle",
    "i field_of_view_number orbit_number scan_line_number", "r satellite_height")),
  list("L1C", 1, 1, c("h day_version", "i start_channel_1 end_channel_1 quality_flag_1 start_channel_2 end_channel_2",
    "i quality_flag_2 start_channel_3 end_channel_3 quality_flag_3 cloud_fraction", "b surface_type")),
  list("AVHRR", 1, 1, c("i instrument channel_combination")),
  list("AVHRR", 7, 7, c("r y_angular_position z_angular_position cluster_fraction"),
    6, c("i channel", "r mean_radiance radiance_standard_deviation")),
  list("L2", 1, 1, c("b superadiabatic_indicator land_sea_qualifier day_night_qualifier",
    "i data_processing_technique", "b sun_glint_indicator",
    "i cloud_formation_and_height_assignment instrument_detecting_clouds validation_of_level_1",
    "i quality_and_completeness_of_retrieval retrieval_choice_indicator", "i satellite_manoeuvre_indicator")),
  list("ozo", 1, 1, c("i background_state")),
  list("ozo", 4, 101, c("r pressure_top pressure_bottom integrated_o3_density")),
  list("trg", 1, 1, c("i background_state", "r integrated_n2o_density integrated_co_density integrated_ch4_density",
    "r integrated_co2_density")),
  list("clp", 1, 1, c("i vertical_significance")),
  list("clp", 3, 3, c("r cloud_top_pressure cloud_top_temperature cloud_amount", "i cloud_phase")),
  list("twt", 1, 1, c("i vertical_significance_1", "r surface_pressure", "i number_of_observations_1",
    "r skin_temperature", "i number_of_observations_2 vertical_significance_2 temperature_level_count")),
  list("twt", 90, 101, c("r temperature_pressure temperature")),
  list("twt", 1, 1, c("i humidity_level_count")),
  list("twt", 90, 101, c("r humidity_pressure mixing_ratio")),
  list("ems", 1, 1, c("i background_state")),
  list("ems", 12, 12, c("r frequency emissivity")))
# end

# One value a row, in the order of the record: its field, its type. A group of fields is repeated as a whole.
fields <- function(runs) {
  words <- strsplit(runs, " ")
  unlist(lapply(words, function(w) setNames(rep(w[1], length(w) - 1), w[-1])))
}

times <- function(n, group) rep(group, n)

# The blocks of a record. recent: the kinds whose block is that of a recent pixel.
vex_blocks <- function(header, channels, recent) {
  present <- c("Common", if (header$l1c) "L1C", if (header$avhrr) "AVHRR", if (length(header$kinds) > 0) "L2", header$kinds)
  blocks <- list()
  for (group in vex_groups) {
    name <- group[[1]]
    if (!name %in% present) next
    inner <- if (length(group) > 4) times(group[[5]], fields(group[[6]]))
    repeated <- times(if (name %in% recent) group[[3]] else group[[2]], c(fields(group[[4]]), inner))
    blocks[[name]] <- c(blocks[[name]], repeated)
  }
  if (header$l1c) blocks$L1C <- c(blocks$L1C, times(channels, fields("r spectrum")))
  blocks
}

# Values that stand one behind the other in raw bytes; an int1 of 255 is missing, all others are positive.
vex_values <- function(bytes, type, order) {
  n <- length(bytes) / vex_sizes[[type]]
  if (type == "r") return(readBin(bytes, "numeric", n, size = 4, endian = order))
  values <- readBin(bytes, "integer", n, size = vex_sizes[[type]], signed = type != "b", endian = order)
  if (type == "b") ifelse(values == 255L, -1L, values) else values
}

read_header <- function(data) {
  damaged <- function(...) stop("not a binary file of vex, or cut short in its header", call. = FALSE)
  tryCatch({
    order <- c("little", "big")[as.integer(data[5]) + 1]
    value <- function(place, type = "i", n = 1) {
      end <- place + n * vex_sizes[[type]]
      if (n < 0 || end > length(data)) stop()
      vex_values(data[seq_len(end - place) + place], type, order)
    }
    n <- value(18)
    channels <- value(22, n = n)
    codes <- value(25 + 4 * n, n = value(23 + 4 * n, "h"))
    length <- value(0)
    if (value(length + 4) != length || length != 21 + 4 * (n + length(codes))) stop()
    avhrr <- value(22 + 4 * n, "b") == 1
    list(order = order, satellite = value(9), tb = value(17, "b"), channels = channels, avhrr = avhrr,
         l1c = n > 0 || avhrr, kinds = names(vex_kinds)[vex_kinds %in% codes], end = length + 8)
  }, error = damaged, warning = damaged)
}

# The forms that a record may have, the shortest first: a long one may end where several short records do. A record
# without content has no blocks. "marker" is the length that the markers count.
record_forms <- function(header) {
  written <- sum(header$channels >= 1 & header$channels <= vex_archive_channels)  # when the record has its L1C pixel
  growing <- Filter(function(kind) any(vapply(vex_groups, function(g) g[[1]] == kind && g[[2]] != g[[3]], NA)), header$kinds)
  variants <- expand.grid(c(list(channels = unique(c(length(header$channels), written))),
                            setNames(rep(list(c(FALSE, TRUE)), length(growing)), growing)))
  forms <- lapply(seq_len(nrow(variants)), function(i)
    vex_blocks(header, variants$channels[i], growing[unlist(variants[i, growing, drop = FALSE])]))
  size <- vapply(forms, function(blocks) sum(vex_sizes[unlist(blocks)]), 0)
  list(marker = size[1], size = c(0, size[order(size)]), blocks = c(list(list()), forms[order(size)]))
}

# Which form each record has.
find_records <- function(data, header, forms) {
  marker <- writeBin(as.integer(forms$marker), raw(), endian = header$order)
  is_marker <- function(place) identical(data[place + 1:4], marker)
  found <- integer(1024)
  count <- 0
  place <- header$end
  while (place < length(data)) {
    ends <- place + forms$size + 8
    for (form in seq_along(ends))
      if (is_marker(ends[form] - 4) && (ends[form] == length(data) || is_marker(ends[form]))) break else form <- 0
    if (form == 0 || !is_marker(place))
      stop("the record at byte ", format(place, scientific = FALSE), " is damaged or cut short", call. = FALSE)
    count <- count + 1
    if (count > length(found)) found <- c(found, integer(count))
    found[count] <- form
    place <- ends[form]
  }
  found[seq_len(count)]
}

# The blocks of neighbouring records of one form: of each field a vector, or a matrix where a record has several.
read_part <- function(bytes, count, blocks, order) {
  bytes <- matrix(bytes, ncol = count)
  place <- 4
  lapply(blocks, function(block) {
    sizes <- vex_sizes[block]
    begins <- place + cumsum(sizes) - sizes
    place <<- place + sum(sizes)
    lapply(split(seq_along(block), factor(names(block), unique(names(block)))), function(rows) {
      places <- outer(seq_len(sizes[rows[1]]), begins[rows], "+")
      values <- vex_values(c(bytes[c(places), ]), block[[rows[1]]], order)
      if (length(rows) == 1) values else matrix(values, count, byrow = TRUE)
    })
  })
}

# list(header, parts): neighbouring records of one form are one part. There is more than one only where the numbers of
# ozone layers or temperature levels change; parts of records without content have no blocks but their "count".
read_vex <- function(path) {
  data <- readBin(path, "raw", file.size(path))
  header <- read_header(data)
  forms <- record_forms(header)
  runs <- rle(find_records(data, header, forms))
  ends <- header$end + cumsum(runs$lengths * (forms$size[runs$values] + 8))
  parts <- Map(function(form, count, end) {
    length <- count * (forms$size[form] + 8)
    part <- read_part(data[seq_len(length) + end - length], count, forms$blocks[[form]], header$order)
    c(part, count = count)
  }, runs$values, runs$lengths, ends)
  list(header = header, forms = forms$blocks[runs$values], parts = parts)
}

# The lines of a part as vex -of txt writes them.
as_text <- function(header, blocks, part) {
  lines <- list(rep(c(header$satellite, if (header$l1c) header$tb else -1L), each = part$count))
  for (name in names(blocks)) {
    number <- function(values) sprintf(if (is.double(values)) "%g" else "%d", values)
    block <- do.call(cbind, lapply(part[[name]], function(values) matrix(number(values), part$count)))
    names <- names(blocks[[name]])
    block <- block[, order(order(factor(names, unique(names)))), drop = FALSE]  # from field by field to their places
    if (name == "L1C") {
      version <- part$L1C$day_version
      block[version == -1, 2:10] <- "-1"  # no L1C pixel: the binary form has bands from 0 to 0
      block[version %in% 0:1, 5:11] <- ""  # day 1: the same
    }
    if (name == "ems") block[, names == "emissivity"][part$ems$emissivity == -1] <- "-777"  # no ems pixel
    lines <- c(lines, list(block))
  }
  if (length(blocks) == 0) return(character(part$count))
  lines[[1]] <- matrix(lines[[1]], part$count)
  apply(do.call(cbind, lines), 1, paste, collapse = "\t")
}

if (sys.nframe() == 0) {
  arguments <- commandArgs(TRUE)
  if (length(arguments) != 1) stop("Usage: Rscript read_vex.R FILE")
  file <- read_vex(arguments)
  for (i in seq_along(file$parts)) writeLines(as_text(file$header, file$forms[[i]], file$parts[[i]]))
}
