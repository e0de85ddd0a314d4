% Analyze images, masks and curve files through read and write, checked
% with Octave's own fread/fwrite at the header's documented offsets: the
% fields and the zero bytes of written headers, the voxel bytes, round trips
% of every element type, headers of both byte orders written by hand, and
% bad files that print a message and leave the workspace as it was.
function test_files()
  cleanup = onCleanup(@() remove_dir(scratch()));
  run_sections('test_files', {@header_fields_and_voxel_bytes, @round_trips, @both_byte_orders, ...
                              @scaled_read, @masks, @curve_files, @bad_files}, true);
end

function d = scratch()
  % One folder for the files of all sections, removed at the end.
  persistent dir;
  if isempty(dir), dir = tempname(); mkdir(dir); end
  d = dir;
end

function remove_dir(d)
  confirm_recursive_rmdir(false, 'local');
  rmdir(d, 's');
end

function h = read_header(name)
  % The fields used here, read at their offsets, and the raw bytes.
  h.bytes = read_bytes([name '.hdr'], Inf)';
  b = h.bytes;
  i32 = @(o) double(typecast(b(o + 1:o + 4), 'int32'));
  i16 = @(o, n) double(typecast(b(o + 1:o + 2 * n), 'int16'));
  f32 = @(o, n) double(typecast(b(o + 1:o + 4 * n), 'single'));
  h.sizeof_hdr = i32(0);
  h.regular = char(b(39));
  h.dim = i16(40, 8);
  h.vox_units = char(b(57:60));
  h.datatype = i16(70, 1);
  h.bitpix = i16(72, 1);
  h.pixdim = f32(76, 8);
  h.scale = f32(112, 1);
end

function write_header(name, order, dim, datatype, bitpix, scale)
  % A header of this system's layout written by hand in byte order `order`.
  fid = fopen([name '.hdr'], 'w', order);
  fwrite(fid, 348, 'int32');
  fwrite(fid, zeros(1, 34), 'uint8');
  fwrite(fid, uint8('r'), 'uint8');
  fwrite(fid, 0, 'uint8');
  fwrite(fid, [numel(dim), dim, ones(1, 7 - numel(dim))], 'int16');
  fwrite(fid, [109 109 0 0], 'uint8');
  fwrite(fid, zeros(1, 10), 'uint8');
  fwrite(fid, [datatype bitpix 0], 'int16');
  fwrite(fid, [3 2 2 2 0 0 0 0], 'float32');
  fwrite(fid, [0 scale 0 0], 'float32');
  fwrite(fid, zeros(1, 348 - 124), 'uint8');
  fclose(fid);
end

function f = header_fields_and_voxel_bytes()
  f = {};
  d = scratch();
  A = int16(reshape(1:24, 2, 3, 4) - 12);            % Z=2, Y=3, X=4
  evalc('kinetra(''write'', ''data'', fullfile(d, ''a.img''), A);');
  h = read_header(fullfile(d, 'a'));
  f = expect(f, numel(h.bytes) == 348, 'header of %d bytes', numel(h.bytes));
  f = expect(f, h.sizeof_hdr == 348 && h.regular == 'r', 'sizeof_hdr %d regular %s', h.sizeof_hdr, h.regular);
  f = expect(f, isequal(h.dim, [3 4 3 2 1 0 0 0]), 'dim %s', mat2str(h.dim));
  f = expect(f, h.datatype == 4 && h.bitpix == 16, 'datatype %d bitpix %d', h.datatype, h.bitpix);
  f = expect(f, h.pixdim(1) == 3, 'pixdim(0) %g', h.pixdim(1));
  f = expect(f, isequal(double(h.vox_units), [109 109 0 0]), 'vox_units %s', h.vox_units);
  f = expect(f, h.scale == 0, 'scale %g (written unscaled)', h.scale);
  % Every byte outside the fields this system writes stays zero.
  written = [1:4, 39, 41:56, 57:60, 71:74, 77:108, 109:124];
  rest = setdiff(1:348, written);
  f = expect(f, all(h.bytes(rest) == 0), 'nonzero unlisted bytes at %s', mat2str(find(h.bytes(rest)) - 1));
  f = expect(f, ~exist(fullfile(d, 'a.time'), 'file'), 'a 3D image has no .time file');
  % The voxels, X fastest, then Y and Z, in this host's order.
  expected = typecast(reshape(permute(A, [3 2 1]), [], 1), 'uint8');
  f = expect(f, isequal(read_bytes(fullfile(d, 'a.img'), Inf), expected), 'voxel bytes differ');
end

function f = round_trips()
  f = {};
  d = scratch();
  classes = {'uint8', 'int16', 'int32', 'single', 'double'};
  frames = [0 10; 10 10; 20 20.5; 40.5 1234567];
  for i = 1:numel(classes)
    name = fullfile(d, classes{i});
    V = cast(reshape(mod((1:60) * 7, 100), 3, 4, 5), classes{i});
    evalc('kinetra(''write'', ''data'', name, V);');
    W = kinetra('read', 'data', name);
    f = expect(f, isequal(W, V) && strcmp(class(W), classes{i}), '%s 3D round trip', classes{i});
    S = cast(reshape(mod((1:48) * 5, 90), 2, 3, 2, 4), classes{i});
    evalc('kinetra(''write'', ''data'', [name ''4''], S, frames);');
    [R, t] = kinetra('read', 'data', [name '4']);
    f = expect(f, isequal(R, S) && strcmp(class(R), classes{i}), '%s 4D round trip', classes{i});
    f = expect(f, isequal(size(t), [4 2]) && all(abs(t(:) - frames(:)) <= 5e-6 * abs(frames(:))), ...
               '%s frame times %s', classes{i}, mat2str(t));
  end
  % A dataset of the workspace is written and stays there.
  evalc('kinetra(''set'', ''data'', ''m'', S, frames);');
  evalc('kinetra(''write'', ''data'', fullfile(d, ''m''), ''m'');');
  f = expect(f, isequal(kinetra('read', 'data', fullfile(d, 'm')), kinetra('get', 'data', 'm')), 'workspace write');
end

function f = both_byte_orders()
  f = {};
  d = scratch();
  V = int16(reshape([1:23, -300], 2, 3, 4));   % Z=2, Y=3, X=4
  for order = {'ieee-le', 'ieee-be'}
    name = fullfile(d, order{1});
    write_header(name, order{1}, [4 3 2], 4, 16, 0);
    write_file([name '.img'], permute(V, [3 2 1]), 'int16', order{1});
    [out, W] = evalc('kinetra(''read'', ''data'', name)');
    f = expect(f, isequal(W, V), '%s voxels', order{1});
    if strcmp(order{1}, 'ieee-be')
      f = expect(f, ~isempty(strfind(out, 'needs swapping')), 'no swap message: %s', out);
    end
  end
end

function f = scaled_read()
  f = {};
  d = scratch();
  name = fullfile(d, 's');
  write_header(name, 'ieee-le', [2 1 1], 8, 32, 0.1);
  write_file([name '.img'], [7 -3], 'int32');
  W = kinetra('read', 'scaled', name);
  f = expect(f, isa(W, 'double') && isequal(W(:)', [7 -3] * double(single(0.1))), 'scaled %s', mat2str(W(:)'));
  f = expect(f, isequal(kinetra('read', 'data', name), int32(reshape([7 -3], 1, 1, 2))), 'unscaled read');
end

function f = masks()
  f = {};
  d = scratch();
  M = false(2, 3, 4);
  M([1 5 9 24]) = true;
  evalc('kinetra(''write'', ''voi'', fullfile(d, ''mask''), M);');
  f = expect(f, isequal(kinetra('read', 'voi', fullfile(d, 'mask')), M), 'mask round trip');
  evalc('kinetra(''write'', ''data'', fullfile(d, ''x''), single(M));');
  [out, r] = evalc('kinetra(''read'', ''voi'', fullfile(d, ''x''))');
  f = expect(f, ~isempty(strfind(out, 'is 3D float and hence no VOI!')), 'float mask: %s', out);
  f = expect(f, islogical(r) && ~r, 'float mask result');
end

function f = curve_files()
  f = {};
  d = scratch();
  name = fullfile(d, 'c.tac');
  write_file(name, sprintf('# time  a  b\n0 1 2\n\n10 3 4 // comment\n20 5\n'), 'char');
  [out, c] = evalc('kinetra(''read'', ''tac'', name)');
  f = expect(f, isequal(c, [0 1 2; 10 3 4; 20 5 0]), 'tac %s', mat2str(c));
  f = expect(f, ~isempty(strfind(out, 'only 2 instead of 3 entries')), 'short line: %s', out);
  write_file(name, sprintf('0 1\n'), 'char');
  [out, c] = evalc('kinetra(''read'', ''tac'', name)');
  f = expect(f, islogical(c) && ~c && ~isempty(out), 'one-row file: %s', out);
end

function f = bad_files()
  f = {};
  d = scratch();
  evalc('kinetra(''set'', ''data'', ''keep'', ones(2, 2, 2));');
  before = kinetra('get', 'data');
  name = fullfile(d, 'b');
  cases = {
    'no files', @() 0;
    'header without image', @() write_header(name, 'ieee-le', [4 3 2], 4, 16, 0);
    'short image', @() write_file([name '.img'], zeros(1, 10), 'uint8');
    'truncated header', @() write_file([name '.hdr'], read_bytes([name '.hdr'], 100), 'uint8');
    'negative dimension', @() write_header(name, 'ieee-le', [4 -3 2], 4, 16, 0);
    'huge dimensions', @() write_header(name, 'ieee-le', [32767 32767 32767], 4, 16, 0);
    'complex type', @() sized(name, 32);
    'type outside the table', @() sized(name, 1024);
  };
  for i = 1:rows(cases)
    cases{i, 2}();
    [out, r] = evalc('kinetra(''read'', ''data'', name)');
    f = expect(f, islogical(r) && ~r && ~isempty(out), '%s: %s', cases{i, 1}, out);
  end
  % A series whose time file lists fewer frames than the header.
  write_header(name, 'ieee-le', [1 1 1 3], 16, 32, 0);
  write_file([name '.img'], zeros(1, 12), 'uint8');
  write_file([name '.time'], sprintf('# Acquisition times (start duration) in seconds\n2 # number of acqusitions\n0\t1 \n1\t1 \n'), 'char');
  [out, r] = evalc('kinetra(''read'', ''data'', name)');
  f = expect(f, islogical(r) && ~r && ~isempty(out), 'time file of 2 frames for 3: %s', out);
  f = expect(f, isequal(kinetra('get', 'data'), before), 'workspace changed');
end

function sized(name, datatype)
  % A 4x3x2 header of this type code and an image of the 48 bytes that 16 bits a voxel need.
  write_header(name, 'ieee-le', [4 3 2], datatype, 16, 0);
  write_file([name '.img'], zeros(1, 48), 'uint8');
end

function write_file(file, values, precision, order)
  % The values as `precision` in byte order `order` (this host's if none).
  if nargin < 4, order = 'native'; end
  fid = fopen(file, 'w', order);
  fwrite(fid, values, precision);
  fclose(fid);
end

function b = read_bytes(file, n)
  fid = fopen(file, 'r');
  b = fread(fid, n, 'uint8=>uint8');
  fclose(fid);
end
