# Reads a binary file of vex into lists of vectors and matrices.
#
#   source("read_vex.R")
#   file <- read_vex("spectra.bin")
#   for (records in file$parts) {             # as a rule just one
#     records$Common$Latitude                 # (records)
#     records$L1C$Spectrum                    # (records, channels)
#     records$ozo$IntegratedO3Density         # (records, layers)
#   }
#
# Run as a program it prints the records as vex -of txt does: Rscript read_vex.R FILE
# The fields are described in docs/formats.md. A file is held in memory as a whole.

vex_archive_channels <- 8700  # samples of a message; the last 239 are behind the spectrum
vex_kinds <- c(ozo = 3, trg = 4, clp = 1, twt = 2, ems = 5)  # codes of the header, in the order of the blocks
vex_sizes <- c(h = 2, b = 1, i = 4, r = 4)  # bytes of int2, int1, int4, real4

fields <- function(type, names) setNames(rep(type, lengths(strsplit(names, " "))), strsplit(names, " ")[[1]])

# One value a row, in the order of the record: its field, its type. A group of fields is repeated as a whole.
times <- function(n, group) rep(group, n)

vex_blocks <- function(header, channels, layers, levels) {
  state <- fields("i", "SelectionOfBackgroundState")
  kinds <- list(
    ozo = c(state, times(layers, fields("r", "TopPressure BottomPressure IntegratedO3Density"))),
    trg = c(state, fields("r", "IntegratedN2ODensity IntegratedCODensity IntegratedCH4Density IntegratedCO2Density")),
    clp = c(fields("i", "VerticalSignificance"),
            times(3, c(fields("r", "Pressure Temperature CloudAmountInSegment"), fields("i", "CloudPhase")))),
    twt = c(fields("i", "VerticalSignificance1"), fields("r", "SurfacePressure"), fields("i", "NumberOfObservations1"),
            fields("r", "SkinTemperature"), fields("i", "NumberOfObservations2 VerticalSignificance2 PTCount"),
            times(levels, fields("r", "TemperaturePressure Temperature")), fields("i", "PMRCount"),
            times(levels, fields("r", "HumidityPressure MixingRatio"))),
    ems = c(state, times(12, fields("r", "Frequency Emissivity"))))
  imager <- c(fields("i", "AvhrrChannel"), fields("r", "AvhrrMeanRadiance AvhrrStdDevRadiance"))
  blocks <- list(Common = c(
    fields("h", "Year"), fields("b", "Month Day Hour Minute"), fields("i", "Milliseconds"),
    fields("r", "Latitude Longitude SatelliteZenithAngle Bearing SolarZenithAngle SolarAzimuth"),
    fields("i", "FieldOfViewNumber OrbitNumber ScanLineNumber"), fields("r", "HeightOfStation")))
  if (header$l1c) blocks$L1C <- c(
    fields("h", "DayVersion"),
    fields("i", "StartChannel1 EndChannel1 GqisQualFlag1 StartChannel2 EndChannel2 GqisQualFlag2"),
    fields("i", "StartChannel3 EndChannel3 GqisQualFlag3 CloudFraction"),
    fields("b", "SurfaceType"), times(channels, fields("r", "Spectrum")))
  if (header$avhrr) blocks$Avhrr <- c(
    fields("i", "AvhrrInstrument AvhrrChannelCombination"),
    times(7, c(fields("r", "AvhrrYAP AvhrrZAP AvhrrCPF"), times(6, imager))))
  if (length(header$kinds) > 0) blocks$L2 <- c(
    fields("b", "SuperadiabaticIndicator LandSeaQualifier DayNightQualifier"),
    fields("i", "SatelliteDataProcessingTechniqueUsed"), fields("b", "SunGlintIndicator"),
    fields("i", "CloudFormationAndHeightAssignment InstrumentDetectingClouds ValidationFlagForIasiLevel1"),
    fields("i", "QualityAndCompletenessOfRetrieval RetrievalChoiceIndicator SatelliteManoeuvreIndicator"))
  c(blocks, kinds[header$kinds])
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
  variants <- expand.grid(channels = unique(c(length(header$channels), written)),
                          layers = if ("ozo" %in% header$kinds) c(4, 101) else 4,
                          levels = if ("twt" %in% header$kinds) c(90, 101) else 90)
  forms <- Map(function(...) vex_blocks(header, ...), variants$channels, variants$layers, variants$levels)
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
      version <- part$L1C$DayVersion
      block[version == -1, 2:10] <- "-1"  # no L1C pixel: the binary form has bands from 0 to 0
      block[version %in% 0:1, 5:11] <- ""  # day 1: the same
    }
    if (name == "ems") block[, names == "Emissivity"][part$ems$Emissivity == -1] <- "-777"  # no ems pixel
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
