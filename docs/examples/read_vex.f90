! Prints the records of a binary file of vex, the columns as vex -of txt has them, reals with all their digits.
! gfortran -std=f2008 -O2 -o read_vex read_vex.f90 && ./read_vex FILE
! The fields are described in docs/formats.md.
! HeightOfStation (satellite_height) is in km in records with an L1C pixel, and in metres in all others.
program read_vex
  use, intrinsic :: iso_fortran_env, only: error_unit, int8, int16, int32, int64, output_unit, real32
  implicit none

  integer, parameter :: archive_channels = 8700 ! samples of a message; the last 239 are behind the spectrum
  character(*), parameter :: tab = achar(9)

  ! Made by scripts/lib/tables from what vex itself walks over:
  ! table: blocks
  ! Products in the order of their blocks, and their codes in the header.
  character(*), parameter :: kind_names(5) = ['ozo', 'trg', 'clp', 'twt', 'ems']
  integer, parameter :: kind_codes(5) = [3, 4, 1, 2, 5]
  ! Fields of the blocks (h int2, b int1, i int4, r real4) and how often they are repeated; recent: in pixels
  ! from 2014-09-30 07:23:00 on.
  type group
    character(6) :: block
    integer :: times, recent
    character(21) :: fields
  end type
  type(group), parameter :: groups(*) = [ &
    group('Common', 1, 1, 'hbbbbirrrrrriiir'), &
    group('L1C', 1, 1, 'hiiiiiiiiiib'), &
    group('AVHRR', 1, 1, 'ii'), &
    group('AVHRR', 7, 7, 'rrrirrirrirrirrirrirr'), &
    group('L2', 1, 1, 'bbbibiiiiii'), &
    group('ozo', 1, 1, 'i'), &
    group('ozo', 4, 101, 'rrr'), &
    group('trg', 1, 1, 'irrrr'), &
    group('clp', 1, 1, 'i'), &
    group('clp', 3, 3, 'rrri'), &
    group('twt', 1, 1, 'iririii'), &
    group('twt', 90, 101, 'rr'), &
    group('twt', 1, 1, 'i'), &
    group('twt', 90, 101, 'rr'), &
    group('ems', 1, 1, 'i'), &
    group('ems', 12, 12, 'rr')]
  ! end

  ! The forms that a record may have. The markers hold the size of the first.
  type form
    integer :: size       ! without its markers
    integer :: channels
    integer :: recent     ! a bit for each kind whose block is that of a recent pixel
  end type
  type(form), allocatable :: forms(:)

  character(1024) :: path
  integer(int8), allocatable :: record(:)   ! content of a record, behind its leading marker
  integer(int64) :: file_size, place        ! places in the file count from 1
  integer :: unit, status, at               ! at: next field of the record
  integer :: satellite, tb, channels, written
  integer :: length                         ! what the markers of a record hold
  logical :: big_endian, has_l1c, avhrr, has_kind(size(kind_codes))

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
    do i = 1, size(kind_codes)
      has_kind(i) = any([(int4(rest + 3 + 4*(k - 1)) == kind_codes(i), k = 1, n_kinds)])
    end do
    has_l1c = channels > 0 .or. avhrr
    call find_forms()
    length = forms(1)%size
  end subroutine

  ! The number of a kind, 0 for other blocks.
  integer function kind_of(block)
    character(*), intent(in) :: block
    kind_of = findloc(kind_names == block, .true., dim=1)
  end function

  logical function has_block(block)
    character(*), intent(in) :: block
    has_block = .true.
    if (block == 'L1C') has_block = has_l1c
    if (block == 'AVHRR') has_block = avhrr
    if (block == 'L2') has_block = any(has_kind)
    if (kind_of(block) > 0) has_block = has_kind(kind_of(block))
  end function

  ! How often the fields of a group are repeated.
  integer function times_of(g, recent)
    type(group), intent(in) :: g
    integer, intent(in) :: recent
    times_of = g%times
    if (btest(recent, kind_of(g%block))) times_of = g%recent
  end function

  integer function bytes_of(fields)
    character(*), intent(in) :: fields
    integer :: i
    bytes_of = sum([(merge(1, merge(2, 4, fields(i:i) == 'h'), fields(i:i) == 'b'), i = 1, len_trim(fields))])
  end function

  subroutine find_forms()
    integer :: i, growing, n, recent, total, variant
    growing = 0   ! kinds whose blocks have two lengths
    do i = 1, size(groups)
      if (has_block(groups(i)%block) .and. groups(i)%times /= groups(i)%recent) &
        growing = ibset(growing, kind_of(groups(i)%block))
    end do
    allocate(forms(0))
    do recent = 0, growing
      if (iand(recent, not(growing)) /= 0) cycle
      do variant = 1, merge(1, 2, written == channels)
        n = merge(channels, written, variant == 1)
        total = merge(4*n, 0, has_l1c)
        do i = 1, size(groups)
          if (has_block(groups(i)%block)) total = total + times_of(groups(i), recent)*bytes_of(groups(i)%fields)
        end do
        forms = [forms, form(total, n, recent)]
      end do
    end do
  end subroutine

  ! Finds the form of the record at place, prints it and moves on.
  subroutine next_record()
    integer :: best, i, total
    if (.not. is_marker(place)) call fail('a record is damaged or cut short')
    if (is_marker(place + 4) .and. (place + 8 > file_size .or. is_marker(place + 8))) then
      print '(a)', ''   ! a record without content
      place = place + 8
      return
    end if
    best = 0   ! the shortest form that fits: a long one may end where several short records do
    do i = 1, size(forms)
      total = forms(i)%size
      if (best > 0) then
        if (total >= forms(best)%size) cycle
      end if
      if (.not. is_marker(place + 4 + total)) cycle
      if (place + 8 + total <= file_size .and. .not. is_marker(place + 8 + total)) cycle
      best = i
    end do
    if (best == 0) call fail('a record is damaged or cut short')
    total = forms(best)%size
    if (allocated(record)) deallocate(record)
    allocate(record(total))
    read(unit, pos=place + 4) record
    call print_record(forms(best))
    place = place + total + 8
  end subroutine

  subroutine print_record(f)
    type(form), intent(in) :: f
    integer :: i
    at = 1
    call put_int(satellite, '')
    call put_int(merge(tb, -1, has_l1c), tab)
    do i = 1, size(groups)
      if (has_block(groups(i)%block)) call put(trim(groups(i)%fields), times_of(groups(i), f%recent))
      if (groups(i)%block == 'L1C' .and. has_l1c) call put('r', f%channels)   ! the spectrum
    end do
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
