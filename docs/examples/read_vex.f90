! Prints the records of a binary file of vex, the columns as vex -of txt has them, reals with all their digits.
! gfortran -std=f2008 -O2 -o read_vex read_vex.f90 && ./read_vex FILE
! The fields are described in docs/formats.md.
program read_vex
  use, intrinsic :: iso_fortran_env, only: error_unit, int8, int16, int32, int64, output_unit, real32
  implicit none

  integer, parameter :: archive_channels = 8700 ! samples of a message; the last 239 are behind the spectrum
  integer, parameter :: clp = 1, twt = 2, ozo = 3, trg = 4, ems = 5
  character(*), parameter :: tab = achar(9)

  ! Fields of the blocks: h int2, b int1, i int4, r real4.
  character(*), parameter :: common_fields = 'hbbbbirrrrrriiir', l1c_fields = 'hiiiiiiiiiib'
  character(*), parameter :: l2_fields = 'bbbibiiiiii'

  character(1024) :: path
  integer(int8), allocatable :: record(:)   ! content of a record, behind its leading marker
  integer(int64) :: file_size, place        ! places in the file count from 1
  integer :: unit, status, at               ! at: next field of the record
  integer :: satellite, tb, channels, written
  integer :: length                         ! what the markers of a record hold
  logical :: big_endian, has_l1c, avhrr, has_kind(5)

  if (command_argument_count() /= 1) call fail('Usage: read_vex FILE')
  call get_command_argument(1, path)
  open(newunit=unit, file=path, access='stream', form='unformatted', action='read', status='old', iostat=status)
  if (status /= 0) call fail('cannot open '//trim(path))
  inquire(unit=unit, size=file_size)
  call read_header()
  do while (place <= file_size)
    call next_record()
  end do

contains

  subroutine fail(message)
    character(*), intent(in) :: message
    write(error_unit, '(a)') message
    stop 1
  end subroutine

  ! Bytes of the file from a place on, in the host's order.
  function bytes(at_place, count) result(b)
    integer(int64), intent(in) :: at_place
    integer, intent(in) :: count
    integer(int8) :: b(count)
    if (at_place + count - 1 > file_size) call fail('the file is cut short')
    read(unit, pos=at_place) b
    if (big_endian) b = b(count:1:-1)   ! on a little-endian host
  end function

  integer(int32) function int4(at_place)
    integer(int64), intent(in) :: at_place
    int4 = transfer(bytes(at_place, 4), int4)
  end function

  logical function is_marker(at_place)
    integer(int64), intent(in) :: at_place
    is_marker = .false.
    if (at_place > 0 .and. at_place + 3 <= file_size) is_marker = int4(at_place) == length
  end function

  subroutine read_header()
    integer :: i, k, n_kinds
    integer(int64) :: rest
    integer(int8) :: flag(1)
    big_endian = .false.
    flag = bytes(5_int64, 1)
    big_endian = flag(1) == 1
    satellite = int4(10_int64)
    flag = bytes(18_int64, 1)
    tb = flag(1)
    channels = int4(19_int64)
    if (channels < 0 .or. channels > file_size/4) call fail('not a binary file of vex')
    written = 0
    do i = 1, channels
      if (int4(19_int64 + 4*i) >= 1 .and. int4(19_int64 + 4*i) <= archive_channels) written = written + 1
    end do
    rest = 23_int64 + 4*channels
    flag = bytes(rest, 1)
    avhrr = flag(1) == 1
    n_kinds = transfer(bytes(rest + 1, 2), 0_int16)
    length = int4(1_int64)
    place = length + 9_int64
    if (.not. is_marker(place - 4) .or. length /= 21 + 4*(channels + n_kinds)) call fail('not a binary file of vex')
    do i = 1, 5
      has_kind(i) = any([(int4(rest + 3 + 4*(k - 1)) == i, k = 1, n_kinds)])
    end do
    has_l1c = channels > 0 .or. avhrr
    length = 50 + merge(43 + 4*channels, 0, has_l1c) + merge(596, 0, avhrr) + merge(32, 0, any(has_kind)) &
             + sum([52, 1472, 52, 20, 100], mask=has_kind)
  end subroutine

  ! Finds the form of the record at place, prints it and moves on.
  subroutine next_record()
    integer :: form, best, best_size, layers, levels, n, size
    if (.not. is_marker(place)) call fail('a record is damaged or cut short')
    if (is_marker(place + 4) .and. (place + 8 > file_size .or. is_marker(place + 8))) then
      print '(a)', ''   ! a record without content
      place = place + 8
      return
    end if
    best = 0
    best_size = huge(best_size)   ! of the shortest form that fits: a long one may end where several short records do
    do form = 0, 7
      call numbers_of(form, n, layers, levels, size)
      if (layers == 101 .and. .not. has_kind(ozo) .or. levels == 101 .and. .not. has_kind(twt)) cycle
      if (size >= best_size) cycle
      if (.not. is_marker(place + 4 + size)) cycle
      if (place + 8 + size <= file_size .and. .not. is_marker(place + 8 + size)) cycle
      best_size = size
      best = form
    end do
    if (best_size == huge(best_size)) call fail('a record is damaged or cut short')
    call numbers_of(best, n, layers, levels, size)
    if (allocated(record)) deallocate(record)
    allocate(record(size))
    read(unit, pos=place + 4) record
    call print_record(n, layers, levels)
    place = place + size + 8
  end subroutine

  ! Numbers of channels, ozone layers and temperature levels of a form, and the size of its content.
  subroutine numbers_of(form, n, layers, levels, size)
    integer, intent(in) :: form
    integer, intent(out) :: n, layers, levels, size
    n = merge(written, channels, btest(form, 2))
    layers = merge(101, 4, btest(form, 0))
    levels = merge(101, 90, btest(form, 1))
    size = length + 4*(n - channels) + 12*(layers - 4) + 16*(levels - 90)
  end subroutine

  subroutine print_record(n, layers, levels)
    integer, intent(in) :: n, layers, levels
    integer :: i
    at = 1
    call put_int(satellite, '')
    call put_int(merge(tb, -1, has_l1c), tab)
    call put(common_fields, 1)
    if (has_l1c) then
      call put(l1c_fields, 1)
      call put('r', n)
    end if
    if (avhrr) then
      call put('ii', 1)
      do i = 1, 7
        call put('rrr', 1)
        call put('irr', 6)
      end do
    end if
    if (any(has_kind)) call put(l2_fields, 1)
    if (has_kind(ozo)) call put('i', 1)
    if (has_kind(ozo)) call put('rrr', layers)
    if (has_kind(trg)) call put('irrrr', 1)
    if (has_kind(clp)) call put('i', 1)
    if (has_kind(clp)) call put('rrri', 3)
    if (has_kind(twt)) then
      call put('iririii', 1)
      call put('rr', levels)
      call put('i', 1)
      call put('rr', levels)
    end if
    if (has_kind(ems)) call put('i', 1)
    if (has_kind(ems)) call put('rr', 12)
    write(output_unit, '(a)') ''
  end subroutine

  ! Prints fields of the record.
  subroutine put(fields, times)
    character(*), intent(in) :: fields
    integer, intent(in) :: times
    integer :: i, k, size
    integer(int8) :: b(4)
    do i = 1, times
      do k = 1, len(fields)
        size = merge(4, merge(2, 1, fields(k:k) == 'h'), index('ir', fields(k:k)) > 0)
        b(1:size) = record(at:at + size - 1)
        if (big_endian) b(1:size) = b(size:1:-1)
        select case (fields(k:k))
        case ('b')   ! an int1: -1 is missing, all others are positive
          call put_int(merge(int(b(1)), iand(int(b(1)), 255), b(1) == -1), tab)
        case ('h')
          call put_int(int(transfer(b(1:2), 0_int16)), tab)
        case ('i')
          call put_int(transfer(b, 0_int32), tab)
        case ('r')
          write(output_unit, '(a,g0)', advance='no') tab, transfer(b, 0.0_real32)
        end select
        at = at + size
      end do
    end do
  end subroutine

  subroutine put_int(value, separator)
    integer(int32), intent(in) :: value
    character(*), intent(in) :: separator
    write(output_unit, '(a,i0)', advance='no') separator, value
  end subroutine
end program
